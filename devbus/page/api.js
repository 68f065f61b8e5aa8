// Asks the bus. What changes something carries the token of the address with which the page was opened.

const KEY = 'tarvex-token';

// Takes the token out of the address, so that it does not stay in the history or in a copied address.
export function takeToken() {
    const match = /^#token=([0-9a-f]+)$/.exec(location.hash);
    if (match) {
        sessionStorage.setItem(KEY, match[1]);
        history.replaceState(null, '', location.pathname);
    }
    return hasToken();
}

export function hasToken() {
    return sessionStorage.getItem(KEY) !== null;
}

async function answerOf(response) {
    const isJson = (response.headers.get('Content-Type') ?? '').startsWith('application/json');
    const answer = isJson ? await response.json() : { error: (await response.text()).trim() };
    if (!response.ok) {
        throw new Error(answer.error || `the bus has answered with status ${response.status}`);
    }
    return answer;
}

export async function get(path) {
    return answerOf(await fetch(path, { cache: 'no-store' }));
}

export async function post(path, body) {
    const headers = { 'Content-Type': 'application/json', 'X-Tarvex-Token': sessionStorage.getItem(KEY) ?? '' };
    return answerOf(await fetch(path, { method: 'POST', headers, body: JSON.stringify(body) }));
}
