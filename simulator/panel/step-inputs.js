// The inputs of a step. Each is {node, read(), update(store)}.

import {make, newId, setText} from './dom.js';
import {kTerminal15} from './fault-catalog.js';

export function inputControl(input) {
    const makeInput = {service: serviceInput, choice: choiceInput, flag: flagInput, content: contentInput,
        json: jsonInput, path: pathInput}[input.type] ?? textInput;
    return makeInput(input);
}

function labelled(input, control, ...others) {
    const id = newId('input');
    control.id = id;
    control.setAttribute('name', input.name);
    const mayBeEmpty = input.optional && input.type !== 'service';
    return make('div', {class: `step-input of-${input.type}`},
        make('label', {for: id}, mayBeEmpty ? `${input.label} (optional)` : input.label), control, ...others);
}

function textField(usual, more = {}) {
    return make('input', {type: 'text', autocomplete: 'off', spellcheck: 'false', value: usual, ...more});
}

function textInput(input) {
    const control = textField(input.usual, {inputmode: input.type === 'integer' ? 'numeric' : undefined});
    return {node: labelled(input, control), read: () => control.value, update() {}};
}

function pathInput(input) {
    const control = textField(input.usual === kTerminal15 ? '' : input.usual, {list: 'paths'});
    let isOwn = false;
    control.addEventListener('input', () => {
        isOwn = true;
    });
    return {
        node: labelled(input, control),
        read: () => control.value.trim(),
        update(store) {
            if (input.usual === kTerminal15 && !isOwn && document.activeElement !== control) {
                control.value = store.terminal15()?.uri ?? control.value;
            }
        },
    };
}

function jsonInput(input) {
    const control = make('textarea', {rows: 2, spellcheck: 'false'}, input.usual);
    return {node: labelled(input, control), read: () => control.value, update() {}};
}

function choiceInput(input) {
    const control = make('select', {}, ...input.choices.map((one) => make('option', {value: one}, one)));
    control.value = input.usual;
    return {node: labelled(input, control), read: () => control.value, update() {}};
}

function serviceInput(input) {
    const control = make('select', {}, make('option', {value: ''}, 'all services'));
    let known = '';
    return {
        node: labelled(input, control),
        read: () => control.value,
        update(store) {
            const names = store.services.map(({name}) => name);
            if (JSON.stringify(names) === known) {
                return;
            }
            known = JSON.stringify(names);
            const chosen = control.value;
            control.replaceChildren(make('option', {value: ''}, 'all services'),
                ...names.map((name) => make('option', {value: name}, name)));
            control.value = names.includes(chosen) ? chosen : '';
        },
    };
}

function flagInput(input) {
    const control = make('input', {type: 'checkbox'});
    control.checked = input.usual;
    return {node: labelled(input, control), read: () => control.checked, update() {}};
}

/** A text, and whether it is meant as it is or as hexadecimal digits. */
function contentInput(input) {
    const format = make('select', {'aria-label': 'How the content is written'},
        make('option', {value: 'text'}, 'text'), make('option', {value: 'hex'}, 'hex'));
    const control = textField(input.usual);
    const hint = make('span', {class: 'note'});
    format.addEventListener('change', () => setText(hint, format.value === 'hex' ? 'such as 48 54 54 50' : ''));
    return {
        node: labelled(input, control, format, hint),
        read: () => ({format: format.value, text: control.value}),
        update() {},
    };
}
