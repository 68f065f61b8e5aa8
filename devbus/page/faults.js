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

// Returns the rules that were added or cleared; null when it has failed.
async function change(path, body, done) {
    try {
        const { items } = await post(path, body);
        say(done);
        return items;
    } catch (error) {
        say(error.message, true);
        return null;
    }
}

async function switchOn(rule) {
    const added = await change('/api/faults', { rule }, 'The fault is on.');
    if (added) {
        off.delete(rule);
        showFaults([...known, ...added]);
    }
    return added !== null;
}

async function switchOff(fault) {
    if (await change('/api/faults/clear', { numbers: [fault.number] }, 'The fault is off.')) {
        known = known.filter(({ number }) => number !== fault.number);
        off.add(fault.rule);
        if (off.size > MAX_OFF) {
            off.delete(off.values().next().value);
        }
    }
}

async function onSwitch(fault, isOn) {
    await (isOn ? switchOn(fault.rule) : switchOff(fault));
    show(); // also when it has failed: the switch goes back
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
        if (await switchOn(input.value.trim())) {
            input.value = '';
        }
    });
    byId('fault-clear').addEventListener('click', async () => {
        if (await change('/api/faults/clear', {}, 'All faults are off.')) {
            off.clear();
            showFaults([]);
        }
    });
}
