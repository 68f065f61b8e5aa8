// Clients, settings and states as the bus has them now, with what has changed marked.

import { get } from './api.js';
import { tree } from './detail.js';
import { difference, unpacked } from './difference.js';
import { byId, element, throttled, timeOfDay, visible } from './dom.js';

const MAX_ITEMS = 200;
const INTERVAL_MS = 1000;
const MARKED_MS = 60000;

// Asks for a list when its number has grown, no oftener than every INTERVAL_MS. What cannot be had is said in its place.
export class Watched {
    constructor(name, show) {
        this.count = -1;
        this.name = name;
        this.show = show;
        this.isAsking = false;
        this.isOld = false; // it has grown while the bus was asked
        this.refresh = throttled(INTERVAL_MS, () => this.ask());
    }

    async ask() {
        if (this.isAsking) {
            this.isOld = true;
            return;
        }
        this.isAsking = true;
        const failure = byId(`${this.name}-failure`);
        try {
            await this.show((await get(`/api/${this.name}`)).items);
            failure.hidden = true;
        } catch (error) {
            failure.textContent = visible(error.message, 300);
            failure.hidden = false;
            this.count = -1;
        }
        this.isAsking = false;
        if (this.isOld) {
            this.isOld = false;
            this.refresh();
        }
    }

    onCount(count) {
        if (count !== this.count) {
            this.count = count;
            this.refresh();
        }
    }
}

function since(text) {
    return text ? timeOfDay(text, 0).replace(/\.$/, '') : '–';
}

function clientRow(client) {
    const isThere = client.querySince !== '' && client.receiverSince !== '';
    const isAway = client.querySince === '' && client.receiverSince === '';
    const state = isThere ? 'connected' : isAway ? 'away' : 'half';
    const words = { connected: 'connected', away: 'away', half: 'one connection' }[state];
    return element('tr', { class: state },
        element('th', { scope: 'row' }, visible(client.name, 64)),
        element('td', {}, element('span', { class: `badge ${state}` }, words)),
        element('td', {}, since(client.querySince)),
        element('td', {}, since(client.receiverSince)),
        element('td', { class: client.waiting > 0 ? 'number waiting' : 'number' }, String(client.waiting)),
        element('td', { class: client.takeovers > 0 ? 'number error' : 'number' }, String(client.takeovers)));
}

export function showClients(clients) {
    const connected = clients.filter((client) => client.querySince || client.receiverSince).length;
    byId('clients-count').textContent = `${connected} connected, ${clients.length} known`;
    byId('clients-rows').replaceChildren(...clients.slice(0, MAX_ITEMS).map(clientRow));
    byId('client-names').replaceChildren(
        ...clients.slice(0, MAX_ITEMS).map((client) => element('option', { value: client.name })));
}

// Remembers the former content of each record, to tell what has changed.
class Memory {
    constructor() {
        this.records = new Map();
    }

    // The places that differ from the former content, and stay marked for a while.
    changesOf(owner, content) {
        const known = this.records.get(owner);
        const now = Date.now();
        const marks = known ? known.marks : new Map();
        if (known) {
            for (const change of difference(known.content, content)) {
                marks.set(change.path, { at: now, before: change.before });
            }
        }
        for (const [path, mark] of marks) {
            if (now - mark.at > MARKED_MS) {
                marks.delete(path);
            }
        }
        this.records.set(owner, { content, marks });
        return marks;
    }

    keepOnly(owners) {
        for (const owner of this.records.keys()) {
            if (!owners.has(owner)) {
                this.records.delete(owner);
            }
        }
    }
}

function changedBadge(marks) {
    return marks.size > 0 ? element('span', { class: 'badge changed' }, 'changed') : '';
}

function record(owner, about, marks, content, isOpen) {
    return element('details', { class: 'record', 'data-owner': owner, open: isOpen || marks.size > 0 },
        element('summary', {}, element('strong', {}, visible(owner, 64)), ' ', changedBadge(marks), ' ',
            element('span', { class: 'note' }, visible(about, 120))), content);
}

function show(place, records) {
    const open = new Set([...place.querySelectorAll('details[open]')].map((node) => node.dataset.owner));
    place.replaceChildren(...records.map(({ owner, about, marks, content }) =>
        record(owner, about, marks, content, open.has(owner))));
}

function before(mark) {
    return mark.before === undefined ? 'new' : `was ${JSON.stringify(mark.before)}`;
}

function settingsTable(entries, marks) {
    const rows = Object.entries(entries).map(([name, value]) => {
        const mark = [...marks].find(([path]) => path === name || path.startsWith(`${name}.`))?.[1];
        return element('tr', { class: mark ? 'changed' : null },
            element('th', { scope: 'row' }, visible(name, 120)),
            element('td', {}, visible(JSON.stringify(value), 300)),
            element('td', { class: 'note' }, mark ? visible(before(mark), 120) : ''));
    });
    const head = ['Setting', 'Value', 'Before'].map((name) => element('th', { scope: 'col' }, name));
    return element('table', {}, element('thead', {}, element('tr', {}, ...head)), element('tbody', {}, ...rows));
}

const settingsMemory = new Memory();

// Each record is asked for again, because settings are often saved with the date that they had before.
export async function showSettings(items) {
    const records = [];
    for (const { owner, date, description } of items.slice(0, MAX_ITEMS)) {
        const whole = await get(`/api/settings/record?owner=${encodeURIComponent(owner)}`);
        const entries = Object.create(null);
        for (const { group, key, value } of whole.settings ?? []) {
            entries[`${group} / ${key}`] = value;
        }
        const marks = settingsMemory.changesOf(owner, entries);
        records.push({ owner, about: `${Object.keys(entries).length} settings, ${date} ${description ?? ''}`, marks,
            content: settingsTable(entries, marks) });
    }
    settingsMemory.keepOnly(new Set(records.map(({ owner }) => owner)));
    byId('settings-empty').hidden = records.length > 0;
    show(byId('settings-list'), records);
}

const statesMemory = new Memory();

export function showStates(items) {
    const records = items.slice(0, MAX_ITEMS).map(({ owner, state, description, date, type, isLeftOut }) => {
        const content = isLeftOut ? 'too large to be shown here' : unpacked(state);
        const marks = statesMemory.changesOf(owner, { state: content, description, type });
        const changes = [...marks].map(([path, mark]) => element('li', {},
            visible(`${path}: ${before(mark)}`, 200)));
        return { owner, about: `${description ?? ''} (type ${type}, ${date})`, marks,
            content: element('div', {}, tree(content),
                changes.length > 0 ? element('ul', { class: 'changes changed' }, ...changes) : '') };
    });
    statesMemory.keepOnly(new Set(records.map(({ owner }) => owner)));
    byId('states-empty').hidden = records.length > 0;
    show(byId('states-list'), records);
}
