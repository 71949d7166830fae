// What the simulator has told: services with their elements, clients, faults. Knows no page.

/** The fields of an element that say what it is. The others can be changed. */
export const kIdentity = ['id', 'name', 'uri'];

export function isAway({present, available}) {
    return !present || !available;
}

/** A service that is away, as a fault. Its `fault` is a text, that of others is a number. */
export function awayFault({name, present, awaySince}) {
    const text = `${name} is ${present ? 'unavailable' : 'not present'}`;
    return {fault: `service ${name}`, kind: 'service', path: `/${name}`, text, since: awaySince, service: name};
}

export class Store {
    constructor() {
        this.clear();
    }

    clear() {
        /** Whether what is stored here is what the simulator has now. */
        this.isLive = false;
        this.about = {name: '', version: '', baseUri: '', basePath: '/'};
        this.services = [];
        this.clients = new Map();
        this.faults = new Map();
        /** The last state of the elements that were removed, by path. */
        this.removed = new Map();
        this.requests = 0;
        this.violations = 0;
    }

    /** Takes a whole state, in place of all that was known before. */
    load(state, isSameRun) {
        const before = isSameRun ? this.elements() : [];
        const removed = isSameRun ? this.removed : new Map();
        const {requests, violations} = isSameRun ? this : {requests: 0, violations: 0};
        this.clear();
        Object.assign(this, {requests, violations, removed, isLive: true});
        this.about = {
            name: state.name ?? '', version: state.version ?? '',
            baseUri: state.baseUri ?? '', basePath: state.basePath ?? '/',
        };
        const place = ({name}) => (name === 'ClampControl' ? 0 : 1);
        this.services = structuredClone(state.services ?? []).sort((one, other) => place(one) - place(other));
        for (const client of state.clients ?? []) {
            const subscriptions = new Map((client.subscriptions ?? []).map((one) => [one.subscription, {...one}]));
            this.clients.set(client.client, {...client, subscriptions});
        }
        for (const fault of state.faults ?? []) {
            this._fault({...fault, t: fault.since});
        }
        for (const service of this.services.filter(isAway)) {
            service.awaySince = state.now;
        }
        for (const element of before) {
            this.removed.set(element.uri, element);
        }
        for (const element of this.elements()) {
            this.removed.delete(element.uri);
        }
    }

    elements() {
        return this.services.flatMap((service) => (service.resources ?? []).flatMap((one) => one.elements ?? []));
    }

    /** The element of terminal 15, or undefined. */
    terminal15() {
        const found = this.elements().filter((one) => one.type === 'Clamp15' && 'isSwitchedOn' in one);
        return found.find((one) => one.uri.startsWith('/ClampControl/clamps/')) ?? found[0];
    }

    /** The elements with a waveform. */
    clamps() {
        return this.elements().filter((one) => typeof one.isSwitchedOn === 'boolean');
    }

    /** Where an element is: its service, its resource, itself; each undefined if it is not known. */
    find(path) {
        const [, serviceName, resourceName] = path.split('/');
        const service = this.services.find((one) => one.name === serviceName);
        const resource = service?.resources?.find((one) => one.name === resourceName);
        return {service, resource, element: resource?.elements?.find((one) => one.uri === path)};
    }

    /** The faults that last, and the services that are away, as such. */
    activeFaults() {
        return [...this.faults.values(), ...this.services.filter(isAway).map(awayFault)];
    }

    /** Every path that a fault can be for: all, services, resources, elements. */
    paths() {
        const paths = ['/'];
        for (const service of this.services) {
            paths.push(`/${service.name}`);
            for (const resource of service.resources ?? []) {
                paths.push(`/${service.name}/${resource.name}`, ...(resource.elements ?? []).map((one) => one.uri));
            }
        }
        return paths;
    }

    /**
     * Takes an event. Returns what a reader of the event may want to know of the state before:
     * `element` and `changes` (key, before, after), `client`, `subscription`, `fault`.
     */
    apply(name, event) {
        return this[`_${name}`]?.(event) ?? {};
    }

    _element({path, data}) {
        const {resource, element} = this._make(path);
        const before = element ?? {};
        const after = {...before, ...data, uri: path};
        after.id ??= path.split('/').pop();
        if (element) {
            resource.elements[resource.elements.indexOf(element)] = after;
        } else {
            resource.elements.push(after);
        }
        this.removed.delete(path);
        const changes = Object.keys(after)
            .filter((key) => key !== 'uri' && JSON.stringify(before[key]) !== JSON.stringify(after[key]))
            .map((key) => ({key, before: before[key], after: after[key]}));
        return {element: after, isNew: !element, changes};
    }

    _elementRemoved({path}) {
        const {resource, element} = this.find(path);
        if (element) {
            resource.elements.splice(resource.elements.indexOf(element), 1);
            this.removed.set(path, element);
        }
        return {element};
    }

    _service({t, name, present, available}) {
        let service = this.services.find((one) => one.name === name);
        if (!service) {
            service = {name, present: true, available: true, resources: []};
            this.services.push(service);
        }
        const before = {present: service.present, available: service.available};
        service.present = present ?? service.present;
        service.available = available ?? service.available;
        service.awaySince = isAway(service) ? t : undefined;
        return {service, before};
    }

    _connected({t, client, service, address, program}) {
        const entry = {client, service, address, program, since: t, subscriptions: new Map()};
        this.clients.set(client, entry);
        return {client: entry};
    }

    _disconnected({client}) {
        const entry = this.clients.get(client);
        this.clients.delete(client);
        return {client: entry};
    }

    _request() {
        this.requests += 1;
    }

    _subscribed({t, client, subscription, path}) {
        const entry = this.clients.get(client);
        entry?.subscriptions.set(subscription, {subscription, path, since: t});
        return {client: entry};
    }

    _unsubscribed({client, subscription}) {
        const entry = this.clients.get(client);
        const ended = entry?.subscriptions.get(subscription);
        entry?.subscriptions.delete(subscription);
        return {client: entry, subscription: ended};
    }

    _fault({t, fault, kind, path, text}) {
        // That a service is away is seen at the service.
        if (kind !== 'service') {
            this.faults.set(fault, {fault, kind, path, text, since: t});
        }
    }

    _cleared({fault}) {
        const ended = this.faults.get(fault);
        this.faults.delete(fault);
        return {fault: ended};
    }

    _violation({client}) {
        this.violations += 1;
        return {client: this.clients.get(client)};
    }

    _make(path) {
        const [, serviceName, resourceName] = path.split('/');
        let {service, resource} = this.find(path);
        if (!service) {
            service = {name: serviceName, present: true, available: true, resources: []};
            this.services.push(service);
        }
        if (!resource) {
            resource = {name: resourceName, elements: []};
            (service.resources ??= []).push(resource);
        }
        resource.elements ??= [];
        return this.find(path);
    }
}
