// The controls of the fields of an element. Each is {node, update(value)}; `send(value, {unchecked})` sends a change.

import {integerIn} from './fault-catalog.js';
import {make, newId, setAttribute, setText} from './dom.js';
import {onOff, valueText} from './words.js';

export const kUnknownLiteral = 'aLiteralTheModelDoesNotHave';

/** The kind of a field that no model describes, by its value. */
export function kindOf(value) {
    if (typeof value === 'boolean') {
        return 'bool';
    }
    if (Number.isInteger(value)) {
        return 'integer';
    }
    return typeof value === 'string' ? 'string' : 'unknown';
}

/** The fields of an element: those of the model, then what else it has. */
export function fieldsOf(resource, element) {
    const modelled = resource.fields ?? [];
    const known = new Set(['id', 'name', 'uri', ...modelled.map(({key}) => key)]);
    const others = Object.keys(element).filter((key) => !known.has(key))
        .map((key) => ({key, kind: kindOf(element[key]), isExtra: resource.fields !== undefined}));
    return [...modelled, ...others];
}

export function fieldControl(field, send, complain) {
    const id = newId('field');
    const makeControl = {bool: switchControl, enumeration: selectControl, integer: inputControl,
        string: inputControl}[field.kind] ?? readOnly;
    const control = makeControl({field, id, send, complain});
    const mark = make('span', {class: 'mark', hidden: true});
    const label = makeControl === readOnly ? make('span', {class: 'field-key', id}, field.key)
        : make('label', {class: 'field-key', for: id}, field.key);
    const node = make('div', {class: 'field'}, label, make('div', {class: 'field-value'}, control.node, mark));
    return {
        node,
        update(value) {
            const remark = remarkOn(field, value);
            mark.hidden = remark === '';
            setText(mark, remark);
            control.update(value);
        },
    };
}

/** What is unusual about a value, or "". */
export function remarkOn(field, value) {
    if (value === undefined) {
        return 'not set';
    }
    const fits = {
        bool: typeof value === 'boolean', integer: Number.isInteger(value), string: typeof value === 'string',
        enumeration: typeof value === 'string',
    }[field.kind] ?? true;
    if (!fits) {
        return `not of kind ${field.kind}: ${valueText(value)}`;
    }
    if (field.kind === 'enumeration' && !field.literals?.includes(value)) {
        return 'unknown literal';
    }
    if (Array.isArray(value) && field.literals) {
        const unknown = value.filter((one) => !field.literals.includes(one));
        return unknown.length > 0 ? `unknown literal: ${unknown.map(valueText).join(', ')}` : '';
    }
    return field.isExtra ? 'not in the model' : '';
}

function switchControl({id, send}) {
    let present;
    const text = make('span', {class: 'switch-text'});
    const node = make('button', {
        type: 'button', role: 'switch', class: 'switch', id, 'aria-checked': 'false',
        onclick: () => send(present !== true),
    }, make('span', {class: 'switch-track', 'aria-hidden': 'true'}), text);
    return {
        node,
        update(value) {
            present = value;
            setAttribute(node, 'aria-checked', value === true);
            setText(text, typeof value === 'boolean' ? onOff(value) : '—');
        },
    };
}

function selectControl({field, id, send}) {
    const node = make('select', {id});
    let shown;
    const show = (value) => {
        const literals = field.literals ?? [];
        node.replaceChildren(
            ...(literals.includes(value) ? [] : [make('option', {value: 'present'}, `⚠ ${valueText(value)}`)]),
            ...literals.map((literal) => make('option', {value: `literal ${literal}`}, literal)),
            make('option', {value: 'unknown'}, '(send an unknown literal)'),
        );
        node.value = literals.includes(value) ? `literal ${value}` : 'present';
        shown = value;
    };
    node.addEventListener('change', async () => {
        const chosen = node.value;
        const isSent = chosen === 'unknown' ? await send(kUnknownLiteral, {unchecked: true})
            : chosen.startsWith('literal ') && await send(chosen.slice('literal '.length));
        if (isSent) {
            isShown = false;  // the event with the new state comes, or has come
        } else {
            show(shown);
        }
    });
    let isShown = false;
    return {
        node,
        update(value) {
            // A list that is open would close if it was changed.
            if (!isShown || value !== shown) {
                isShown = true;
                show(value);
            }
        },
    };
}

function inputControl({field, id, send, complain}) {
    let present = '';
    const isNumber = field.kind === 'integer';
    const node = make('input', {
        id, type: 'text', autocomplete: 'off', spellcheck: 'false', inputmode: isNumber ? 'numeric' : undefined,
    });
    const commit = async () => {
        if (node.value === present) {
            complain('');
            return;
        }
        let value = node.value;
        try {
            value = isNumber ? integerIn(value, field.key) : value;
        } catch (error) {
            node.setAttribute('aria-invalid', 'true');
            complain(error.message);
            return;
        }
        node.removeAttribute('aria-invalid');
        if (!await send(value)) {
            node.setAttribute('aria-invalid', 'true');
        }
    };
    node.addEventListener('change', commit);
    node.addEventListener('keydown', (event) => {
        if (event.key === 'Escape') {
            node.value = present;
            node.removeAttribute('aria-invalid');
            complain('');
        }
    });
    return {
        node,
        update(value) {
            const text = value === undefined || value === null ? '' : valueText(value);
            // What a person is typing stays, and so does what was refused, until there is a new value.
            const isTyping = document.activeElement === node && node.value !== present;
            const isRefused = node.getAttribute('aria-invalid') === 'true' && text === present;
            present = text;
            if (!isTyping && !isRefused && node.value !== text) {
                node.value = text;
                node.removeAttribute('aria-invalid');
            }
        },
    };
}

function readOnly({id}) {
    const node = make('div', {class: 'field-text', 'aria-labelledby': id});
    let shown;
    return {
        node,
        update(value) {
            const text = JSON.stringify(value);
            if (text === shown) {
                return;
            }
            shown = text;
            if (Array.isArray(value) && value.length > 0) {
                node.replaceChildren(make('ul', {class: 'values'},
                    ...value.map((one) => make('li', {}, valueText(one)))));
            } else {
                setText(node, valueText(value));
            }
        },
    };
}
