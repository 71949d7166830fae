// A bus in memory that serves the panel, and what the panel asks the simulator for.

import {once} from 'node:events';
import {readFileSync} from 'node:fs';
import {createServer} from 'node:http';
import {extname} from 'node:path';

import {performStep, Refusal} from './mock-steps.js';
import {kModels} from './models.js';

const kRoot = new URL('../../../', import.meta.url);
const kTypes = {'.html': 'text/html; charset=utf-8', '.css': 'text/css', '.js': 'text/javascript',
    '.svg': 'image/svg+xml'};

export class MockBus {
    constructor({basePath = '/'} = {}) {
        this.basePath = basePath;
        this.begin = performance.now();
        this.clients = new Map();
        this.faults = new Map();
        this.streams = new Set();
        this.steps = [];
        this.requests = [];
        this.last = 0;
        this.port = 0;
        this.services = readServices();
    }

    async start() {
        this.server = createServer((request, response) => this._serve(request, response));
        this.server.listen(this.port, '127.0.0.1');
        await once(this.server, 'listening');
        this.port = this.server.address().port;
        return this;
    }

    /** Ends all connections; nothing listens any more. */
    async stop() {
        const closed = once(this.server, 'close');
        this.server.close();
        this.server.closeAllConnections();
        this.streams.clear();
        await closed;
    }

    async restart(ms) {
        await this.stop();
        await new Promise((resolve) => setTimeout(resolve, ms));
        await this.start();
    }

    get url() {
        return `http://127.0.0.1:${this.port}${this.basePath}`;
    }

    now() {
        return Math.round(performance.now() - this.begin);
    }

    find(path) {
        const [, serviceName, resourceName] = path.split('/');
        const service = this.services.find(({name}) => name === serviceName);
        const resource = service?.resources.find(({name}) => name === resourceName);
        return {service, resource, element: resource?.elements.find(({uri}) => uri === path)};
    }

    emit(name, event, t = this.now()) {
        for (const stream of this.streams) {
            stream.write(`event: ${name}\ndata: ${JSON.stringify({t, ...event})}\n\n`);
        }
    }

    connect(program, service = 'ClampControl') {
        this.last += 1;
        const one = {client: this.last, service, address: `127.0.0.1:${40000 + this.last}`, program,
            since: this.now(), subscriptions: []};
        this.clients.set(one.client, one);
        this.emit('connected', one);
        return one.client;
    }

    subscribe(client, path) {
        this.last += 1;
        const one = {subscription: String(this.last), path, since: this.now()};
        this.clients.get(client).subscriptions.push(one);
        this.emit('subscribed', {client, ...one});
        return one.subscription;
    }

    disconnect(client, reason) {
        this.clients.delete(client);
        this.emit('disconnected', {client, reason});
    }

    disconnectAll(service, reason) {
        [...this.clients.values()].filter((one) => service === undefined || one.service === service)
            .forEach(({client}) => this.disconnect(client, reason));
    }

    beginFault(kind, path, text) {
        this.last += 1;
        const fault = {fault: this.last, kind, path, text, since: this.now()};
        this.faults.set(fault.fault, fault);
        this.emit('fault', fault);
    }

    endFaults(matches) {
        const ended = [...this.faults.values()].filter(matches);
        for (const {fault, kind} of ended) {
            this.faults.delete(fault);
            this.emit('cleared', {fault, kind});
        }
        return ended;
    }

    state() {
        return {
            name: 'zeb-bus-sim', version: '0.1.0', now: this.now(), baseUri: `http://127.0.0.1:${this.port}`,
            basePath: this.basePath, services: this.services, clients: [...this.clients.values()],
            faults: [...this.faults.values()], steps: [],
        };
    }

    _serve(request, response) {
        const {pathname} = new URL(request.url, 'http://localhost');
        this.requests.push(pathname);
        const control = `${this.basePath}_sim/`;
        if (request.method === 'POST' && pathname.startsWith(control)) {
            this._perform(decodeURIComponent(pathname.slice(control.length)), request, response);
        } else if (pathname === '/' || pathname === this.basePath) {
            this._sendFile('index.html', response);
        } else if (pathname.startsWith(`${control}panel/`)) {
            this._sendFile(pathname.slice(`${control}panel/`.length), response);
        } else if (pathname === `${control}state`) {
            sendJson(response, 200, this.state());
        } else if (pathname === `${control}events`) {
            response.writeHead(200, {'Content-Type': 'text/event-stream', 'Cache-Control': 'no-store'});
            response.write(`retry: 200\nevent: state\ndata: ${JSON.stringify(this.state())}\n\n`);
            this.streams.add(response);
            response.on('close', () => this.streams.delete(response));
        } else if (pathname === `${control}scenario`) {
            sendJson(response, 200, this.steps);
        } else {
            sendJson(response, 404, {error: {number: 404, reason: 'invalid_path', message: 'There is nothing'}});
        }
    }

    async _perform(kind, request, response) {
        let body = '';
        for await (const part of request) {
            body += part;
        }
        try {
            const value = JSON.parse(body);
            this.steps.push({[kind]: value});
            performStep(this, kind, value);
            sendJson(response, 200, {ts: ''});
        } catch (error) {
            const {number = 400, reason = 'bad_request', message} = error instanceof Refusal ? error
                : {message: error.message};
            sendJson(response, number, {error: {number, reason, message}, ts: ''});
        }
    }

    _sendFile(name, response) {
        let content;
        try {
            content = readFileSync(new URL(`simulator/panel/${name}`, kRoot), 'utf8');
        } catch {
            sendJson(response, 404, {error: {number: 404, reason: 'invalid_path', message: `No file ${name}`}});
            return;
        }
        const policy = "default-src 'self'";
        response.writeHead(200, {'Content-Type': kTypes[extname(name)], 'Content-Security-Policy': policy});
        response.end(name === 'index.html' ? content.replaceAll('{{base}}', this.basePath) : content);
    }
}

function sendJson(response, status, value) {
    response.writeHead(status, {'Content-Type': 'application/json'});
    response.end(JSON.stringify(value));
}

function readServices() {
    const {services} = JSON.parse(readFileSync(new URL('examples/bus/vehicle.json', kRoot), 'utf8'));
    return Object.entries(services).map(([name, resources]) => ({
        name, present: true, available: true,
        resources: Object.entries(resources).map(([resource, elements]) => ({
            name: resource,
            fields: kModels[name]?.[resource],
            elements: elements.map((element) => ({...element, uri: `/${name}/${resource}/${element.id}`})),
        })),
    }));
}
