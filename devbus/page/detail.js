// One frame in full, and what differs from the one before it.

import { get } from './api.js';
import { difference, unpacked } from './difference.js';
import { byId, duration, element, timeOfDay, visible } from './dom.js';
import { isError, receiverOf, senderOf, titleOf } from './frames.js';

const MAX_NODES = 2000;

let current = null; // stands for the last call of showFrame()

// A value as a tree that opens and closes.
export function tree(value, budget = { nodes: MAX_NODES }) {
    budget.nodes -= 1;
    if (budget.nodes < 0) {
        return element('span', { class: 'note' }, '…');
    }
    if (value === null || typeof value !== 'object') {
        return element('span', { class: `json ${value === null ? 'null' : typeof value}` },
            typeof value === 'string' ? `"${visible(value)}"` : String(value));
    }
    const entries = Object.entries(value);
    if (entries.length === 0) {
        return element('span', { class: 'json' }, Array.isArray(value) ? '[]' : '{}');
    }
    const list = element('ul', { class: 'tree' });
    for (const [key, item] of entries) {
        if (budget.nodes < 0) {
            list.append(element('li', { class: 'note' }, '… the rest is not shown'));
            break;
        }
        list.append(branch(key, item, budget));
    }
    return list;
}

function branch(key, item, budget) {
    const isContainer = item !== null && typeof item === 'object' && Object.keys(item).length > 0;
    const name = element('span', { class: 'key' }, visible(key, 200));
    if (!isContainer) {
        return element('li', {}, name, ': ', tree(item, budget));
    }
    const count = element('span', { class: 'note' }, Array.isArray(item) ? ` [${item.length}]` : '');
    return element('li', {}, element('details', { open: true }, element('summary', {}, name, count),
        tree(item, budget)));
}

function facts(frame) {
    const list = element('dl', { class: 'facts' });
    const add = (name, value) => {
        if (value !== undefined && value !== '') {
            list.append(element('div', {}, element('dt', {}, name), element('dd', {}, visible(value, 400))));
        }
    };
    add('Number', frame.number);
    add('Time', timeOfDay(frame.time, 6));
    add('From', senderOf(frame) || 'bus');
    add('To', receiverOf(frame) || 'bus');
    add('Port', frame.port);
    add('Connection', frame.connection);
    add('Size', frame.size === undefined ? undefined : `${frame.size} bytes`);
    add('Code', frame.code === undefined ? undefined : `${frame.code} ${frame.description ?? ''}`);
    add('Answers', frame.answers === undefined ? undefined
        : `frame ${frame.answers}, after ${duration(frame.tookMs)}`);
    add('Fault', frame.fault);
    add('Problem', frame.problem);
    return list;
}

function cell(value) {
    return value === undefined ? element('td', { class: 'note' }, '(none)')
        : element('td', {}, visible(typeof value === 'string' ? value : JSON.stringify(value), 400));
}

function differenceTable(before, frame) {
    const changes = difference(unpacked(before.data ?? {}), unpacked(frame.data ?? {}));
    const heading = `Difference to frame ${before.number}`;
    if (changes.length === 0) {
        return [element('h3', {}, heading), element('p', { class: 'note' }, 'The content is the same.')];
    }
    const rows = changes.map(({ path, before: old, after }) => element('tr', {},
        element('th', { scope: 'row' }, visible(path, 200) || '(all)'), cell(old), cell(after)));
    const head = element('tr', {}, ...['Place', 'Before', 'Now'].map((name) => element('th', { scope: 'col' }, name)));
    return [element('h3', {}, heading), element('div', { class: 'scroll', tabindex: '0', role: 'group',
        'aria-label': heading }, element('table', { class: 'difference' }, element('thead', {}, head),
        element('tbody', {}, ...rows)))];
}

async function whole(frame) {
    return frame.dataLeftOut ? get(`/api/frame?number=${frame.number}`) : frame;
}

function showContent(place, shown) {
    if (shown.data) {
        place.append(element('h3', {}, 'Content'), tree(unpacked(shown.data)));
    } else if (shown.dataLeftOut) {
        place.append(element('p', { class: 'note' }, 'The content was too large to be kept.'));
    }
}

export async function showFrame(frame, store) {
    const place = byId('detail-content');
    const mine = {};
    current = mine;
    const before = store.before(frame);
    byId('detail-title').textContent = visible(`Frame ${frame.number}: ${titleOf(frame)}`, 120);
    place.replaceChildren(facts(frame));
    place.classList.toggle('error', isError(frame));
    const isCurrent = () => current === mine; // another one may be chosen meanwhile
    const fail = (error) => isCurrent() && place.append(element('p', { class: 'failure' }, visible(error.message)));
    let shown = null;
    try {
        shown = await whole(frame);
    } catch (error) {
        fail(error);
    }
    if (shown === null || !isCurrent()) {
        return;
    }
    showContent(place, shown);
    try {
        const compared = before ? await whole(before) : null;
        if (compared && isCurrent()) {
            place.append(...differenceTable(compared, shown));
        }
    } catch (error) {
        fail(new Error(`No difference to frame ${before.number}: ${error.message}`));
    }
}
