// Serves the panel with a bus in memory on which something happens all the time.

import {MockBus} from './mock-bus.js';

const bus = await new MockBus().start();
console.log(`the panel is at ${bus.url}`);

const client = bus.connect('clamp-monitor/4711');
bus.subscribe(client, '/ClampControl/clamps/1');
let count = 0;
setInterval(() => {
    count += 1;
    const {element} = bus.find(`/ClampControl/clamps/${1 + (count % 3)}`);
    element.isSwitchedOn = !element.isSwitchedOn;
    bus.emit('element', {path: element.uri, data: element});
    bus.emit('request', {method: 'GET', path: element.uri, status: count % 7 === 0 ? 503 : 200, program: 'curl/8'});
}, 1500);
