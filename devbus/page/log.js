// The log lines that the services send to the log service.

import { byId, element, timeOfDay, visible } from './dom.js';
import { commandOf, senderOf } from './frames.js';

const MAX_LINES = 200;

function lineOf(frame) {
    const { prefix = '', text = '' } = commandOf(frame)?.data ?? {};
    const level = /\b(debug|info|warning|critical|fatal|error)\b/i.exec(prefix)?.[1].toLowerCase() ?? '';
    return element('li', { class: `line ${level}` },
        element('span', { class: 'time' }, timeOfDay(frame.time)), ' ',
        element('strong', {}, visible(senderOf(frame), 40)), ' ',
        element('span', { class: 'prefix' }, visible(prefix, 120)), ' ',
        element('span', {}, visible(typeof text === 'string' ? text.replaceAll('\t', ' ') : text, 1000)));
}

// A line passes twice when the log service is there: to the bus, and from it. Only the first one counts.
export function addLogLines(frames) {
    const list = byId('log');
    const lines = frames.filter((frame) => frame.command === 'saveLog' && frame.direction === 'in').slice(-MAX_LINES);
    if (lines.length === 0) {
        return;
    }
    const isAtEnd = list.scrollHeight - list.scrollTop - list.clientHeight < 40;
    list.append(...lines.map(lineOf));
    while (list.children.length > MAX_LINES) {
        list.firstElementChild.remove();
    }
    if (isAtEnd) {
        list.scrollTop = list.scrollHeight;
    }
    byId('log-empty').hidden = true;
}

export function clearLog() {
    byId('log').replaceChildren();
    byId('log-empty').hidden = false;
}
