// Faults on purpose: a switch for each rule, and a form for new ones.

import { post } from './api.js';
import { byId, element, visible } from './dom.js';

const MAX_OFF = 50;

// Rules that were switched off here. The bus does not know them any more.
const off = new Set();
let known = [];

function say(text, isFailure = false) {
    const place = byId('fault-answer');
    place.textContent = visible(text, 300);
    place.className = isFailure ? 'failure' : 'note';
}

async function change(path, body, done) {
    try {
        await post(path, body);
        say(done);
        return true;
    } catch (error) {
        say(error.message, true);
        return false;
    }
}

async function onSwitch(fault, isOn) {
    if (isOn) {
        if (await change('/api/faults', { rule: fault.rule }, 'The fault is on.')) {
            off.delete(fault.rule);
        }
    } else if (await change('/api/faults/clear', { number: fault.number }, 'The fault is off.')) {
        off.add(fault.rule);
        if (off.size > MAX_OFF) {
            off.delete(off.values().next().value);
        }
    }
    show();
}

function row(fault, isOn) {
    const input = element('input', { type: 'checkbox', role: 'switch', checked: isOn });
    input.addEventListener('change', () => onSwitch(fault, input.checked));
    const hits = isOn ? `${fault.hits} times` : 'off';
    return element('li', {}, element('label', {}, input, ' ', element('code', {}, visible(fault.rule, 300))), ' ',
        element('span', { class: 'note' }, hits));
}

function show() {
    byId('faults-empty').hidden = known.length + off.size > 0;
    const list = byId('faults-list');
    const focused = [...list.querySelectorAll('input')].indexOf(document.activeElement);
    list.replaceChildren(...known.map((fault) => row(fault, true)),
        ...[...off].map((rule) => row({ rule }, false)));
    list.querySelectorAll('input')[focused]?.focus();
}

export function showFaults(items) {
    known = items;
    for (const { rule } of items) {
        off.delete(rule);
    }
    show();
}

export function listenForFaults() {
    byId('fault-form').addEventListener('submit', async (event) => {
        event.preventDefault();
        const input = byId('fault-rule');
        if (await change('/api/faults', { rule: input.value.trim() }, 'The fault is on.')) {
            input.value = '';
        }
    });
    byId('fault-clear').addEventListener('click', async () => {
        if (await change('/api/faults/clear', {}, 'All faults are off.')) {
            off.clear();
            show();
        }
    });
}
