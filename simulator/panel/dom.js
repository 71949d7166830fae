// Makes elements of the page. Texts are always inserted as texts: names come from outside.

/** make('button', {class: 'quiet', onclick: f}, 'Text', otherNode) */
export function make(tag, attributes = {}, ...children) {
    const node = document.createElement(tag);
    for (const [name, value] of Object.entries(attributes)) {
        if (typeof value === 'function') {
            node.addEventListener(name.slice(2), value);
        } else if (value !== undefined && value !== null && value !== false) {
            node.setAttribute(name, value === true ? '' : value);
        }
    }
    node.append(...children.filter((child) => child !== undefined && child !== false && child !== ''));
    return node;
}

/** Sets a text only if it is another: what is selected, or read aloud, stays as it is. */
export function setText(node, text) {
    if (node.textContent !== text) {
        node.textContent = text;
    }
}

/** Sets an attribute, if it is another; removes it if the value is undefined. */
export function setAttribute(node, name, value) {
    if (value === undefined) {
        node.removeAttribute(name);
    } else if (node.getAttribute(name) !== String(value)) {
        node.setAttribute(name, value);
    }
}

/**
 * Makes the children of `parent` those of `items`, in their order, and keeps what is there: `view(item)` makes a
 * {node, update(item)} for a key that is new.
 */
export class KeyedList {
    constructor(parent, key, view) {
        Object.assign(this, {parent, key, view, views: new Map()});
    }

    update(items) {
        const present = new Set(items.map(this.key));
        for (const [key, {node}] of this.views) {
            if (!present.has(key)) {
                node.remove();
                this.views.delete(key);
            }
        }
        let place = this.parent.firstElementChild;
        for (const item of items) {
            const key = this.key(item);
            let view = this.views.get(key);
            if (!view) {
                view = this.view(item);
                this.views.set(key, view);
            }
            view.update?.(item);
            if (view.node === place) {
                place = place.nextElementSibling;
            } else {
                this.parent.insertBefore(view.node, place);
            }
        }
    }
}

let lastId = 0;
export function newId(prefix) {
    lastId += 1;
    return `${prefix}-${lastId}`;
}
