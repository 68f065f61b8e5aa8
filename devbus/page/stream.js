// Hears from the bus, and goes on by itself when the bus was away.

const RETRY_MS = 2000;

// Calls handlers.onState('up' | 'away'), onNewBus() when another run of the bus answers, onFrames(list),
// onChanged(counts).
export function connect(handlers) {
    let bus = null;
    const open = () => {
        const source = new EventSource(`/events?last=${bus === null ? 1000 : 0}`);
        source.addEventListener('hello', (event) => {
            const name = JSON.parse(event.data).bus;
            if (bus !== null && bus !== name) {
                handlers.onNewBus();
            }
            bus = name;
            handlers.onState('up');
        });
        source.addEventListener('frames', (event) => handlers.onFrames(JSON.parse(event.data)));
        source.addEventListener('changed', (event) => handlers.onChanged(JSON.parse(event.data)));
        source.addEventListener('error', () => {
            handlers.onState('away');
            if (source.readyState === EventSource.CLOSED) {
                setTimeout(open, RETRY_MS); // the browser itself tries again only after some failures
            }
        });
    };
    open();
}
