// The form that sends a command.

import { hasToken, post } from './api.js';
import { byId, visible } from './dom.js';

function say(text, isFailure) {
    const place = byId('command-answer');
    place.textContent = visible(text, 300);
    place.className = isFailure ? 'failure' : 'note';
}

function dataOf(text) {
    if (text.trim() === '') {
        return {};
    }
    const data = JSON.parse(text);
    if (data === null || typeof data !== 'object' || Array.isArray(data)) {
        throw new Error('the data must be a JSON object');
    }
    return data;
}

export function listenForCommands() {
    byId('command-form').addEventListener('submit', async (event) => {
        event.preventDefault();
        try {
            await post('/api/command', {
                sender: byId('command-sender').value.trim(),
                receiver: byId('command-receiver').value.trim(),
                command: byId('command-name').value.trim(),
                data: dataOf(byId('command-data').value),
            });
            say('The bus has accepted the command.', false);
        } catch (error) {
            say(error instanceof SyntaxError ? `The data is no JSON: ${error.message}` : error.message, true);
        }
    });
    byId('token-missing').hidden = hasToken();
}
