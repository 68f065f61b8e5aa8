// Draws the last exchanges: a line for each client and for the bus, and an arrow for each frame.

import { byId, duration, shape, timeOfDay, visible } from './dom.js';
import { isError, titleOf } from './frames.js';

const MAX_ARROWS = 24;
const MAX_CLIENTS = 7;
const LEFT = 96;
const COLUMN = 150;
const TOP = 6;
const HEADS = 34;
const ROW = 30;
const HEAD = 6;

// The bus stands in the middle, so that arrows are short.
function columnsOf(frames) {
    const names = [...new Set(frames.map((frame) => frame.client ?? ''))].slice(-MAX_CLIENTS);
    const columns = new Map();
    const middle = Math.ceil(names.length / 2);
    names.forEach((name, i) => columns.set(name, LEFT + COLUMN / 2 + COLUMN * (i < middle ? i : i + 1)));
    return { columns, bus: LEFT + COLUMN / 2 + COLUMN * middle, width: LEFT + COLUMN * (names.length + 1) };
}

function lifeline(x, height) {
    return shape('line', { x1: x, x2: x, y1: 0, y2: height, class: 'lifeline' });
}

// A name of null stands for the bus.
function head(x, name) {
    const shown = name === null ? 'bus' : visible(name || '(no name yet)', 15);
    return [
        shape('rect', { x: x - 66, y: 4, width: 132, height: 24, rx: 4, class: name === null ? 'head bus' : 'head' }),
        shape('text', { x, y: 21, 'text-anchor': 'middle', class: 'name' }, shown),
    ];
}

function arrow(frame, x, bus, y) {
    const [from, to] = frame.direction === 'in' ? [x, bus] : [bus, x];
    const back = to > from ? -HEAD : HEAD;
    const marks = `arrow ${frame.kind}${isError(frame) ? ' error' : ''}`;
    const label = frame.kind === 'reply'
        ? `${frame.code ? `code ${frame.code}, ` : ''}${frame.tookMs === undefined ? 'reply' : duration(frame.tookMs)}`
        : visible(frame.command ?? titleOf(frame), 20);
    return shape('g', { class: marks },
        shape('title', {}, visible(`${frame.number}: ${titleOf(frame)}`, 120)),
        shape('text', { x: 4, y: y + 4, class: 'time' }, timeOfDay(frame.time)),
        shape('line', { x1: from, x2: to + back, y1: y, y2: y }),
        shape('polygon', { points: `${to},${y} ${to + back},${y - 4} ${to + back},${y + 4}` }),
        shape('text', { x: (from + to) / 2, y: y - 5, 'text-anchor': 'middle', class: 'label' }, label));
}

// Draws the last ones of frames. Nothing is drawn while the drawing is folded away.
export function drawSequence(frames) {
    const place = byId('sequence');
    if (!byId('sequence-section').open) {
        return;
    }
    const exchanges = frames.filter((frame) => frame.kind === 'request' || frame.kind === 'reply').slice(-MAX_ARROWS);
    byId('sequence-empty').hidden = exchanges.length > 0;
    if (exchanges.length === 0) {
        place.replaceChildren();
        return;
    }
    const { columns, bus, width } = columnsOf(exchanges);
    const shown = exchanges.filter((frame) => columns.has(frame.client ?? ''));
    const height = TOP + ROW * shown.length + 12;
    const names = [...columns.keys()].map((name) => visible(name || '(no name yet)', 40)).join(', ');
    const words = `The last ${shown.length} frames between the bus and its clients ${names}`;
    const heads = shape('svg', { class: 'heads', width, height: HEADS, 'aria-hidden': 'true' },
        ...[...columns, [null, bus]].flatMap(([name, x]) => head(x, name)));
    const drawing = shape('svg', { width, height, role: 'img', 'aria-label': words },
        ...[...columns.values(), bus].map((x) => lifeline(x, height)),
        ...shown.map((frame, i) => arrow(frame, columns.get(frame.client ?? ''), bus, TOP + ROW * i + 20)));
    const isAtEnd = place.scrollHeight - place.scrollTop - place.clientHeight < ROW;
    place.replaceChildren(heads, drawing);
    if (isAtEnd) {
        place.scrollTop = place.scrollHeight;
    }
}
