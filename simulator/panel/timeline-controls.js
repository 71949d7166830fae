// What buttons, keys, the pointer and the wheel do to the timeline.

const kZoom = 1.6;
/** The height of a line, for wheels that count lines. */
const kLine = 30;
/** A pointer that has moved less than this has clicked. */
const kClick = 4;

export function attachControls(view) {
    attachButtons(view);
    attachKeys(view);
    attachPointer(view);
    attachWheel(view);
}

function attachButtons(view) {
    const actions = {
        'timeline-pause': () => view.togglePause(),
        'timeline-follow': () => view.follow(),
        'timeline-in': () => view.zoom(1 / kZoom),
        'timeline-out': () => view.zoom(kZoom),
        'timeline-back': () => view.pan(-view.window.span / 3),
        'timeline-forth': () => view.pan(view.window.span / 3),
    };
    for (const [id, action] of Object.entries(actions)) {
        document.getElementById(id).addEventListener('click', action);
    }
}

function attachKeys(view) {
    const step = (direction) => (event) => {
        if (event.shiftKey) {
            view.moveToEvent(direction > 0);
        } else {
            view.moveCursor((view.cursor ?? view.now()) + (direction * view.window.span) / 100);
        }
    };
    const actions = {
        ArrowLeft: step(-1),
        ArrowDown: step(-1),
        ArrowRight: step(1),
        ArrowUp: step(1),
        Home: () => view.moveCursor(view.window.from),
        End: () => view.moveCursor(view.now()),
        PageUp: () => view.pan(-view.window.span / 2),
        PageDown: () => view.pan(view.window.span / 2),
        '+': () => view.zoom(1 / kZoom),
        '=': () => view.zoom(1 / kZoom),
        '-': () => view.zoom(kZoom),
        ' ': () => view.togglePause(),
        f: () => view.follow(),
        Escape: () => view.endCursor(),
    };
    view.stage.addEventListener('keydown', (event) => {
        const action = actions[event.key];
        if (action && !event.ctrlKey && !event.altKey && !event.metaKey) {
            event.preventDefault();
            action(event);
        }
    });
}

function attachPointer(view) {
    let drag;
    const place = (event) => event.clientX - view.stage.getBoundingClientRect().left;
    view.stage.addEventListener('pointerdown', (event) => {
        if (event.button === 0 && view.layout) {
            drag = {begin: place(event), last: place(event), isMoving: false};
            view.stage.setPointerCapture(event.pointerId);
        }
    });
    view.stage.addEventListener('pointermove', (event) => {
        const x = place(event);
        if (!drag) {
            view.hover = view.layout && event.pointerType !== 'touch' && x >= view.layout.left ? x : undefined;
            view.update();
            return;
        }
        drag.isMoving ||= Math.abs(x - drag.begin) >= kClick;
        if (drag.isMoving) {
            view.hover = undefined;
            view.pan(((drag.last - x) / view.plotWidth) * view.window.span);
            drag.last = x;
        }
    });
    view.stage.addEventListener('pointerup', (event) => {
        const x = place(event);
        if (drag && !drag.isMoving && x >= view.layout.left) {
            view.moveCursor(view.timeAt(x));
        }
        drag = undefined;
    });
    view.stage.addEventListener('pointercancel', () => {
        drag = undefined;
    });
    view.stage.addEventListener('pointerleave', () => {
        view.hover = undefined;
        view.update();
    });
}

/** The wheel scrolls the page as always, unless the timeline has the focus or Ctrl is held. */
function attachWheel(view) {
    view.stage.addEventListener('wheel', (event) => {
        if (!view.layout) {
            return;
        }
        const isSideways = event.shiftKey || Math.abs(event.deltaX) > Math.abs(event.deltaY);
        if (isSideways) {
            event.preventDefault();
            view.pan(((event.deltaX || event.deltaY) / view.plotWidth) * view.window.span);
        } else if (event.ctrlKey || document.activeElement === view.stage) {
            event.preventDefault();
            const x = event.clientX - view.stage.getBoundingClientRect().left;
            const lines = event.deltaMode === WheelEvent.DOM_DELTA_LINE ? kLine : 1;
            view.zoom(1.0015 ** (event.deltaY * lines), view.timeAt(x));
        }
    }, {passive: false});
}
