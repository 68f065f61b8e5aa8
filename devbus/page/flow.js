// The list of frames: as they happen, filtered, and stopped on demand.

import { announce, byId, duration, element, throttled, timeOfDay, visible } from './dom.js';
import { isError, makeFilter, receiverOf, senderOf, summaryOf, titleOf } from './frames.js';

// More rows than these are not made; older ones go.
export const MAX_ROWS = 500;

const FIELDS = ['client', 'operation', 'command', 'text'];

function cell(name, text, maxLength = 80) {
    const shown = visible(text, maxLength);
    return element('span', { class: name, title: shown.length > 16 ? shown : null }, shown);
}

function rowOf(frame) {
    const marks = ['frame', frame.kind, isError(frame) ? 'error' : ''].join(' ').trim();
    return element('li', { role: 'option', id: `frame-${frame.number}`, class: marks, 'aria-selected': 'false' },
        cell('time', timeOfDay(frame.time)),
        cell('from', senderOf(frame) || 'bus'),
        element('span', { class: 'arrow', 'aria-label': 'to' }, '→'),
        cell('to', receiverOf(frame) || 'bus'),
        cell('what', frame.command ?? titleOf(frame)),
        cell('took', frame.tookMs === undefined ? '' : duration(frame.tookMs)),
        element('span', { class: 'summary' }, visible(summaryOf(frame), 200)));
}

export class Flow {
    // onSelect(frame) is called when one is chosen, onChange() when other frames are shown.
    constructor(store, onSelect, onChange) {
        this.store = store;
        this.onSelect = onSelect;
        this.onChange = onChange;
        this.list = byId('flow');
        this.queue = [];
        this.selected = null;
        this.isPaused = false;
        this.held = []; // while it is paused; the store goes on and forgets them
        this.missed = 0;
        this.seen = { frames: 0, errors: 0 };
        this.flush = throttled(100, () => this.show());
        this.rebuild = throttled(150, () => this.showAll());
        this.listen();
        this.readFilter();
    }

    listen() {
        for (const name of FIELDS) {
            byId(`filter-${name}`).addEventListener('input', () => this.readFilter());
        }
        byId('filter-errors').addEventListener('change', () => this.readFilter());
        byId('filters').addEventListener('reset', () => setTimeout(() => this.readFilter()));
        byId('filters').addEventListener('submit', (event) => event.preventDefault());
        byId('pause').addEventListener('click', () => this.setPaused(!this.isPaused));
        this.list.addEventListener('click', (event) => this.choose(event.target.closest('li')));
        this.list.addEventListener('keydown', (event) => this.onKey(event));
    }

    readFilter() {
        const fields = Object.fromEntries(FIELDS.map((name) => [name, byId(`filter-${name}`).value.trim()]));
        fields.errors = byId('filter-errors').checked;
        this.matches = makeFilter(fields);
        this.rebuild();
    }

    // The frames that are shown, oldest first.
    shown() {
        return (this.isPaused ? this.held : this.store.frames).filter(this.matches);
    }

    setPaused(isPaused) {
        this.isPaused = isPaused;
        this.held = isPaused ? [...this.store.frames] : [];
        this.missed = 0;
        byId('pause').setAttribute('aria-pressed', String(isPaused));
        this.tellPause();
        if (!isPaused) {
            this.showAll();
        }
    }

    tellPause() {
        const more = this.missed > 0 ? ` (${this.missed} new)` : '';
        byId('pause').textContent = this.isPaused ? `Go on${more}` : 'Pause';
    }

    // The store has these already.
    add(frames) {
        this.seen.frames += frames.length;
        this.seen.errors += frames.filter(isError).length;
        announce(`${this.seen.frames} frames, ${this.seen.errors} of them errors`);
        if (this.isPaused) {
            this.missed += frames.length;
            this.tellPause();
            return;
        }
        this.queue.push(...frames);
        this.queue.splice(0, this.queue.length - MAX_ROWS * 2);
        this.flush();
    }

    show() {
        if (this.isPaused) {
            return;
        }
        const isAtEnd = this.list.scrollHeight - this.list.scrollTop - this.list.clientHeight < 60;
        const rows = this.queue.filter(this.matches).slice(-MAX_ROWS).map(rowOf);
        this.queue = [];
        this.list.append(...rows);
        while (this.list.children.length > MAX_ROWS) {
            this.list.firstElementChild.remove();
        }
        this.afterShow(isAtEnd);
    }

    showAll() {
        this.queue = [];
        this.list.replaceChildren(...this.shown().slice(-MAX_ROWS).map(rowOf));
        this.afterShow(true);
    }

    afterShow(isAtEnd) {
        this.mark();
        if (isAtEnd) {
            this.list.scrollTop = this.list.scrollHeight;
        }
        byId('flow-empty').hidden = this.list.children.length > 0;
        byId('flow-count').textContent = `${this.list.children.length} shown, ${this.store.frames.length} kept`;
        this.onChange();
    }

    rowOfSelected() {
        return this.selected === null ? null : byId(`frame-${this.selected}`);
    }

    mark() {
        for (const row of this.list.querySelectorAll('[aria-selected="true"]')) {
            row.setAttribute('aria-selected', 'false');
        }
        const row = this.rowOfSelected();
        if (row) {
            row.setAttribute('aria-selected', 'true');
            this.list.setAttribute('aria-activedescendant', row.id);
        } else {
            this.list.removeAttribute('aria-activedescendant');
        }
    }

    choose(row) {
        if (!row) {
            return;
        }
        this.selected = Number(row.id.slice('frame-'.length));
        this.mark();
        row.scrollIntoView({ block: 'nearest' });
        const frame = this.store.byNumber.get(this.selected)
            ?? this.held.find(({ number }) => number === this.selected);
        if (frame) {
            this.onSelect(frame);
        }
    }

    onKey(event) {
        const rows = [...this.list.children];
        const at = rows.indexOf(this.rowOfSelected());
        const page = 10;
        const places = {
            ArrowDown: at + 1, ArrowUp: at < 0 ? rows.length - 1 : at - 1,
            PageDown: at + page, PageUp: at - page, Home: 0, End: rows.length - 1,
        };
        if (event.key in places && rows.length > 0 && !event.ctrlKey && !event.altKey && !event.metaKey) {
            event.preventDefault();
            this.choose(rows[Math.min(Math.max(places[event.key], 0), rows.length - 1)]);
        }
    }

    clear() {
        this.selected = null;
        this.seen = { frames: 0, errors: 0 };
        this.setPaused(false);
    }
}
