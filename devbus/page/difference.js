// What differs between two JSON values.

const MAX_CHANGES = 200;

function isContainer(value) {
    return value !== null && typeof value === 'object';
}

function collect(before, after, path, changes) {
    if (changes.length >= MAX_CHANGES) {
        return;
    }
    const isAlike = isContainer(before) && isContainer(after) && Array.isArray(before) === Array.isArray(after);
    if (!isAlike) {
        if (JSON.stringify(before) !== JSON.stringify(after)) {
            changes.push({ path, before, after });
        }
        return;
    }
    for (const key of new Set([...Object.keys(before), ...Object.keys(after)])) {
        const place = path === '' ? key : `${path}.${key}`;
        collect(Object.hasOwn(before, key) ? before[key] : undefined,
            Object.hasOwn(after, key) ? after[key] : undefined, place, changes);
    }
}

// A list of {path, before, after}; undefined stands for what is not there.
export function difference(before, after) {
    const changes = [];
    collect(before, after, '', changes);
    return changes;
}

// A text that holds JSON counts as what it holds, at any depth.
export function unpacked(value, depth = 0) {
    if (typeof value === 'string' && /^\s*[[{]/.test(value) && depth < 8) {
        try {
            return unpacked(JSON.parse(value), depth + 1);
        } catch {
            return value;
        }
    }
    if (!isContainer(value) || depth >= 64) {
        return value;
    }
    if (Array.isArray(value)) {
        return value.map((item) => unpacked(item, depth));
    }
    return Object.fromEntries(Object.entries(value).map(([key, item]) => [key, unpacked(item, depth)]));
}
