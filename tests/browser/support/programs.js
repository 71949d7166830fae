// Runs the real programs: zeb-bus-sim, and a clamp-monitor that follows it.

import {spawn} from 'node:child_process';
import {once} from 'node:events';
import {mkdtempSync, rmSync, writeFileSync} from 'node:fs';
import {tmpdir} from 'node:os';
import {join} from 'node:path';
import {createInterface} from 'node:readline';
import {fileURLToPath} from 'node:url';

const {ZEB_BUS_SIM, CLAMP_MONITOR, WITH_CLIENT_CONFIG} = process.env;
const kVehicle = fileURLToPath(new URL('../../../examples/bus/vehicle.json', import.meta.url));
const kPatience = 30000;

/** Why the programs cannot run, or false. */
export const kNoPrograms = ZEB_BUS_SIM && CLAMP_MONITOR && WITH_CLIENT_CONFIG ? false
    : 'ZEB_BUS_SIM, CLAMP_MONITOR and WITH_CLIENT_CONFIG do not name the programs';

/** A program whose output can be awaited line by line. */
class Program {
    constructor(command, words) {
        this.name = command.split('/').pop();
        this.process = spawn(command, words, {stdio: ['ignore', 'pipe', 'inherit']});
        this.ended = once(this.process, 'exit');
        this.lines = [];
        this.waiting = [];
        createInterface({input: this.process.stdout}).on('line', (line) => {
            this.lines.push(line);
            this.waiting.splice(0).forEach((wake) => wake());
        });
        this.process.on('exit', () => this.waiting.splice(0).forEach((wake) => wake()));
    }

    /** The next line for which `find` returns something, and what that is. Skips the lines before it. */
    async next(find, what) {
        const timer = AbortSignal.timeout(kPatience);
        for (;;) {
            while (this.lines.length > 0) {
                const found = find(this.lines.shift());
                if (found !== undefined) {
                    return found;
                }
            }
            if (timer.aborted || this.process.exitCode !== null) {
                throw new Error(`${this.name}: no ${what}`);
            }
            await new Promise((wake) => {
                this.waiting.push(wake);
                timer.addEventListener('abort', wake, {once: true});
            });
        }
    }

    async stop(signal = 'SIGTERM') {
        if (this.process.exitCode === null && this.process.signalCode === null) {
            this.process.kill(signal);
            await this.ended;
        }
    }
}

export async function startSimulator(...options) {
    const program = new Program(ZEB_BUS_SIM, ['--port', '0', ...options, kVehicle]);
    program.url = await program.next((line) => /listening on (\S+)/.exec(line)?.[1], '"listening on"');
    return program;
}

/** A clamp-monitor that follows the simulator at this address. */
export function startMonitor(url) {
    const {origin, pathname} = new URL(url);
    const watchdogTimeout = 1000;
    const directory = mkdtempSync(join(tmpdir(), 'panel-'));
    const file = join(directory, 'ClientConfig.json');
    writeFileSync(file, JSON.stringify({
        serviceRegistrySettings: {mode: 'staticOnly',
            serviceSettings: [{service: 'ClampControl', useSeparator: true, watchdogTimeout}]},
        services: {ClampControl: {serverBaseUri: origin, serverBasePathHTTP: pathname, serverBasePathWS: pathname,
            separatorAfterRessource: '/', watchdogTimeout}},
    }));
    const program = new Program(WITH_CLIENT_CONFIG, [file, '--', CLAMP_MONITOR, '--json']);
    program.ended.then(() => rmSync(directory, {recursive: true}));
    /** Waits until the monitor tells this event, with this value if one is given. */
    program.sees = (event, value) => program.next((line) => {
        const told = JSON.parse(line);
        return told.event === event && (value === undefined || told.value === value) ? told : undefined;
    }, `event ${event} ${value ?? ''}`);
    return program;
}
