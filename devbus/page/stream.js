// Hears from the bus, and goes on by itself when the bus was away.

const RETRY_MS = 2000;
const MAX_FORMER = 1000;

// A stream that is refused by a bus that answers is one too many.
async function whyRefused() {
    try {
        await fetch('/healthz', { cache: 'no-store' });
        return 'full';
    } catch {
        return 'away';
    }
}

// Calls handlers.onState('up' | 'away' | 'full'), onNewBus() when another run of the bus answers, onFrames(list, length
// of its text), onChanged(counts).
export function connect(handlers) {
    let bus = null;
    let last = 0; // the number of the newest frame
    const open = () => {
        const source = new EventSource(`/events?last=${MAX_FORMER}`);
        source.addEventListener('hello', (event) => {
            const name = JSON.parse(event.data).bus;
            if (bus !== null && bus !== name) {
                handlers.onNewBus();
                last = 0;
            }
            bus = name;
            handlers.onState('up');
        });
        source.addEventListener('frames', (event) => {
            const frames = JSON.parse(event.data).filter(({ number }) => number > last);
            last = frames.at(-1)?.number ?? last;
            handlers.onFrames(frames, event.data.length);
        });
        source.addEventListener('changed', (event) => handlers.onChanged(JSON.parse(event.data)));
        source.addEventListener('error', async () => {
            if (source.readyState !== EventSource.CLOSED) {
                handlers.onState('away');
                return;
            }
            setTimeout(open, RETRY_MS); // the browser itself tries again only after some failures
            handlers.onState(await whyRefused());
        });
    };
    open();
}
