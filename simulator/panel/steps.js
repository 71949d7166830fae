// Sends steps to the simulator.

export const kNoAnswer = 'The simulator does not answer.';
const kPatience = 15000;

export class Steps {
    constructor(base, send = (...request) => fetch(...request)) {
        this.base = base;
        this.send = send;
    }

    /**
     * Never throws. Returns {done: true} or {done: false, message}, a sentence for people.
     * `cutsOff`: the step may end the connection before its answer arrives.
     */
    async perform(kind, value, {cutsOff = false} = {}) {
        let answer;
        try {
            answer = await this.send(`${this.base}_sim/${encodeURIComponent(kind)}`, {
                method: 'POST',
                headers: {'Content-Type': 'application/json'},
                body: JSON.stringify(value),
                signal: AbortSignal.timeout(kPatience),
            });
        } catch {
            return cutsOff ? {done: true} : {done: false, message: kNoAnswer};
        }
        if (answer.ok) {
            return {done: true};
        }
        let message;
        try {
            message = (await answer.json()).error.message;
        } catch {
            message = undefined;
        }
        return {done: false, message: message || `The simulator has refused it (${answer.status}).`};
    }
}
