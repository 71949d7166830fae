// The link that downloads the scenario. If there is none, it says so and the page stays.

import {setText} from './dom.js';
import {kNoAnswer} from './steps.js';

export function attachDownload(link, error) {
    link.addEventListener('click', async (event) => {
        if (event.ctrlKey || event.metaKey || event.shiftKey) {
            return;
        }
        event.preventDefault();
        setText(error, '');
        let answer;
        try {
            answer = await fetch(link.href);
        } catch {
            setText(error, kNoAnswer);
            return;
        }
        if (!answer.ok) {
            setText(error, `The simulator has no scenario to download (${answer.status}).`);
            return;
        }
        const address = URL.createObjectURL(await answer.blob());
        const copy = link.cloneNode();
        copy.href = address;
        copy.click();
        URL.revokeObjectURL(address);
    });
}
