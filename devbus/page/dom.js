// Makes elements. Texts become text nodes, never markup.

const SVG = 'http://www.w3.org/2000/svg';

function fill(node, attributes, children) {
    for (const [name, value] of Object.entries(attributes)) {
        if (name.startsWith('on')) {
            node.addEventListener(name.slice(2), value);
        } else if (value !== false && value !== null && value !== undefined) {
            node.setAttribute(name, value === true ? '' : value);
        }
    }
    node.append(...children);
    return node;
}

export function element(name, attributes = {}, ...children) {
    return fill(document.createElement(name), attributes, children);
}

export function shape(name, attributes = {}, ...children) {
    return fill(document.createElementNS(SVG, name), attributes, children);
}

export function byId(id) {
    return document.getElementById(id);
}

const CONTROL = /[\u0000-\u001f\u007f-\u009f\u00ad\u061c\u180e\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff\ufff9-\ufffb\u{e0000}-\u{e007f}]/gu;

const SHORT = { '\n': '\\n', '\r': '\\r', '\t': '\\t' };

// A text of the bus as it is shown: characters that cannot be seen, or that change the order of others, are written out.
export function visible(text, maxLength = 4096) {
    const whole = text !== null && typeof text === 'object' ? JSON.stringify(text) : String(text);
    const shown = whole.length > maxLength ? `${whole.slice(0, maxLength)}… (+${whole.length - maxLength})` : whole;
    return shown.replace(CONTROL, (character) => SHORT[character] ?? `\\u{${character.codePointAt(0).toString(16)}}`);
}

// The time of day of "2026-03-01T10:11:12.345678Z", in the time zone of the browser.
export function timeOfDay(time, digits = 3) {
    const date = new Date(time);
    if (Number.isNaN(date.getTime())) {
        return visible(time, 40);
    }
    const pad = (number) => String(number).padStart(2, '0');
    const fraction = (/\.(\d+)/.exec(time)?.[1] ?? '').padEnd(digits, '0').slice(0, digits);
    return `${pad(date.getHours())}:${pad(date.getMinutes())}:${pad(date.getSeconds())}.${fraction}`;
}

export function duration(ms) {
    if (ms < 1) {
        return `${Math.round(ms * 1000)} µs`;
    }
    return ms < 1000 ? `${ms.toFixed(ms < 10 ? 1 : 0)} ms` : `${(ms / 1000).toFixed(1)} s`;
}

// Calls work soon, once for any number of calls, and no oftener than every ms.
export function throttled(ms, work) {
    let timer = null;
    let last = -Infinity;
    return () => {
        if (timer === null) {
            timer = setTimeout(() => {
                timer = null;
                last = performance.now();
                work();
            }, Math.max(0, last + ms - performance.now()));
        }
    };
}

const announced = { text: '', publish: null };

// Tells a screen reader, no oftener than every few seconds.
export function announce(text) {
    announced.publish ??= throttled(4000, () => {
        byId('announcement').textContent = announced.text;
    });
    announced.text = text;
    announced.publish();
}
