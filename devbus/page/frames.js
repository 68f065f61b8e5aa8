// What the page keeps of the frames, and what it knows about one.

export const MAX_FRAMES = 1000;
const MAX_BYTES = 16 * 1024 * 1024;

const messages = new WeakMap();

// The command in the message that the frame hands over: {cmd, data}; null when there is none.
export function commandOf(frame) {
    if (!messages.has(frame)) {
        let command = null;
        try {
            const value = frame.operation === 'sendMessage' && frame.data ? JSON.parse(frame.data.message) : null;
            command = value !== null && typeof value === 'object' && 'cmd' in value ? value : null;
        } catch {
            command = null; // it is some other text
        }
        messages.set(frame, command);
    }
    return messages.get(frame);
}

export function isError(frame) {
    return Boolean(frame.code) || frame.kind === 'bad' || frame.kind === 'gap' || Boolean(frame.fault);
}

export function senderOf(frame) {
    return frame.from ?? (frame.direction === 'in' ? frame.client ?? '' : '');
}

export function receiverOf(frame) {
    return frame.to ?? '';
}

// What the frame is, in a word.
export function titleOf(frame) {
    if (frame.kind === 'request') {
        return frame.command ? `${frame.operation} ${frame.command}` : frame.operation;
    }
    return frame.kind === 'reply' ? `${frame.operation} reply` : frame.kind;
}

// The content in one line.
export function summaryOf(frame) {
    const words = [];
    if (frame.fault) {
        words.push(frame.fault);
    }
    if (frame.problem) {
        words.push(frame.problem);
    }
    if (frame.code) {
        words.push(`${frame.code} ${frame.description ?? ''}`.trim());
    }
    const command = commandOf(frame);
    const data = command ? command.data : frame.data;
    if (frame.dataLeftOut) {
        words.push(`${frame.size} bytes`);
    } else if (data && Object.keys(data).length > 0) {
        words.push(JSON.stringify(data).slice(0, 300));
    }
    return words.join('  ');
}

export class FrameStore {
    constructor() {
        this.clear();
    }

    clear() {
        this.frames = [];
        this.byNumber = new Map();
        this.lengths = new WeakMap();
        this.bytes = 0;
    }

    // They have come in a text of this length; "size" tells of the packed frame only. Each counts for the same part.
    add(list, length) {
        for (const frame of list) {
            this.frames.push(frame);
            this.byNumber.set(frame.number, frame);
            this.lengths.set(frame, length / list.length);
        }
        this.bytes += list.length > 0 ? length : 0;
        let gone = 0;
        while (this.frames.length - gone > MAX_FRAMES || (this.bytes > MAX_BYTES && this.frames.length - gone > 1)) {
            this.bytes -= this.lengths.get(this.frames[gone]);
            this.byNumber.delete(this.frames[gone].number);
            gone += 1;
        }
        this.frames.splice(0, gone);
    }

    // The last frame before this one of the same client, kind, operation and command.
    before(frame) {
        const isAlike = (other) => other.number < frame.number && other.client === frame.client
            && other.kind === frame.kind && other.direction === frame.direction
            && other.operation === frame.operation && other.command === frame.command;
        return this.frames.findLast(isAlike) ?? null;
    }
}

// A filter: each part that is set must fit.
export function makeFilter({ client, operation, command, text, errors }) {
    const contains = (value, part) => String(value ?? '').toLowerCase().includes(part.toLowerCase());
    return (frame) => (!errors || isError(frame))
        && (!client || [frame.client, frame.from, frame.to].some((name) => contains(name, client)))
        && (!operation || contains(frame.operation ?? frame.kind, operation))
        && (!command || contains(frame.command, command))
        && (!text || contains(JSON.stringify(frame), text));
}
