// Puts the parts of the page together.

import { takeToken } from './api.js';
import { listenForCommands } from './command.js';
import { showFrame } from './detail.js';
import { announce, byId, throttled } from './dom.js';
import { listenForFaults, showFaults } from './faults.js';
import { Flow } from './flow.js';
import { FrameStore } from './frames.js';
import { addLogLines, clearLog } from './log.js';
import { showClients, showSettings, showStates, Watched } from './records.js';
import { drawSequence } from './sequence.js';
import { connect } from './stream.js';

const FAULTS_INTERVAL_MS = 5000;

takeToken();
// The address of another run of the bus, opened in the same tab, does not load the page anew.
window.addEventListener('hashchange', () => {
    byId('token-missing').hidden = takeToken();
});
listenForCommands();
listenForFaults();

const store = new FrameStore();
const draw = throttled(500, () => drawSequence(flow.shown()));
const flow = new Flow(store, (frame) => showFrame(frame, store), () => draw());
byId('sequence-section').addEventListener('toggle', draw);

const watched = {
    clients: new Watched('clients', showClients),
    settings: new Watched('settings', showSettings),
    states: new Watched('states', showStates),
    faults: new Watched('faults', showFaults),
};

// Other programs switch faults as well, and nothing tells of that.
setInterval(() => !document.hidden && watched.faults.refresh(), FAULTS_INTERVAL_MS);

let state = '';
connect({
    onState(newState) {
        if (newState === state) {
            return;
        }
        state = newState;
        const words = {
            up: 'connected to the bus',
            away: 'the bus is away; trying again',
            full: 'too many pages are open; trying again',
        }[state];
        byId('bus-state').textContent = words;
        byId('bus-state').className = `badge ${state}`;
        announce(words);
    },
    onNewBus() {
        store.clear();
        flow.clear();
        clearLog();
        Object.values(watched).forEach((list) => list.refresh());
    },
    onFrames(frames, length) {
        store.add(frames, length);
        flow.add(frames);
        addLogLines(frames);
    },
    onChanged(counts) {
        for (const [name, list] of Object.entries(watched)) {
            list.onCount(counts[name]);
        }
    },
});

function isTyping(node) {
    return node.matches('input:not([type="checkbox"]), textarea, select');
}

const shortcuts = {
    p: () => flow.setPaused(!flow.isPaused),
    e: () => byId('filter-errors').click(),
    f: () => byId('flow').focus(),
    '/': () => byId('filter-text').focus(),
    '?': () => {
        byId('keys').open = !byId('keys').open;
        byId('keys').querySelector('summary').focus();
    },
};

document.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) {
        return;
    }
    if (event.key === 'Escape' && isTyping(event.target) && event.target.closest('#filters')) {
        byId('filters').reset();
        byId('flow').focus();
    } else if (!isTyping(event.target) && Object.hasOwn(shortcuts, event.key)) {
        event.preventDefault();
        shortcuts[event.key]();
    }
});
