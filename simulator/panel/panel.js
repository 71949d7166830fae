// The control panel: joins the stream of events, the store, and the views.

import {Announcer} from './announcer.js';
import {BusClock} from './bus-clock.js';
import {ClientsView} from './clients-view.js';
import {Connection} from './connection.js';
import {setText} from './dom.js';
import {attachDownload} from './download.js';
import {FaultsView} from './faults-view.js';
import {History} from './history.js';
import {IgnitionView} from './ignition-view.js';
import {LogView} from './log-view.js';
import {ServicesView} from './services-view.js';
import {Steps} from './steps.js';
import {Store} from './store.js';
import {TimelineTable} from './timeline-table.js';
import {TimelineView} from './timeline-view.js';
import {isWorthTelling, sentence} from './words.js';

/** "/" or "/zeb/": everything that the simulator serves is below it. */
const base = document.documentElement.dataset.base.replace(/\/*$/, '/');

const store = new Store();
const history = new History();
const clock = new BusClock();
const steps = new Steps(base);
const announcer = new Announcer(document.getElementById('announcements'));
const parts = {store, history, clock, steps, announcer};

const timeline = new TimelineView(parts);
new TimelineTable({...parts, timeline});
const log = new LogView(parts);
/** Which views are to be brought up to date by the events of a topic. */
const ignition = new IgnitionView(parts);
const services = new ServicesView(parts);
const faults = new FaultsView(parts);
const clients = new ClientsView(parts);
const viewsOf = {
    elements: [ignition, services, faults, timeline],
    clients: [clients, timeline],
    requests: [timeline],
    faults: [faults, timeline],
};
const allViews = [ignition, timeline, clients, services, faults, log];
const dirty = new Set();

const connection = new Connection(base, {
    state(state) {
        const isSameRun = clock.synchronize(state.now);
        if (!isSameRun) {
            history.clear();
            log.clear();
        }
        store.load(state, isSameRun);
        history.load(store, state.now);
        const {name, version, baseUri, basePath} = store.about;
        setText(document.getElementById('about'), `${name} ${version} · ${baseUri}${basePath}`);
        allViews.forEach((view) => dirty.add(view));
    },
    event(name, event) {
        clock.hear(event.t);
        const details = store.apply(name, event);
        history.apply(name, event, details);
        const said = sentence(name, event, details);
        if (isWorthTelling(name, event)) {
            log.add(event.t, said);
            dirty.add(log);
        }
        (viewsOf[said.topic] ?? []).forEach((view) => dirty.add(view));
    },
    changed: showConnection,
});

function showConnection(isConnected) {
    const pageState = document.getElementById('page-state');
    const text = isConnected ? 'Connected' : 'The simulator does not answer; trying again';
    const before = pageState.dataset.state;
    pageState.dataset.state = isConnected ? 'connected' : 'lost';
    setText(document.getElementById('page-state-text'), text);
    document.getElementById('lost').hidden = isConnected;
    document.body.classList.toggle('is-lost', !isConnected);
    if (!isConnected) {
        history.lose(clock.now());
        store.isLive = false;
        [ignition, timeline].forEach((view) => dirty.add(view));
    }
    if (before !== pageState.dataset.state && before !== 'waiting') {
        const said = isConnected ? 'The simulator answers again' : 'The simulator does not answer';
        announcer.say(said);
        log.add(clock.now(), {text: said, tone: isConnected ? '' : 'fault', topic: 'page'});
        dirty.add(log);
    }
}

/** Events may come by the thousand: the page changes once for each of its pictures. */
function frame(time) {
    requestAnimationFrame(frame);
    for (const view of dirty) {
        view.update();
    }
    dirty.clear();
    timeline.frame(time);
}

setInterval(() => {
    if (connection.isConnected) {
        history.trim(clock.now());
        [ignition, clients, faults].forEach((view) => view.tick());
    }
}, 1000);

attachDownload(document.getElementById('scenario'), document.getElementById('scenario-error'));
requestAnimationFrame(frame);
connection.open();
