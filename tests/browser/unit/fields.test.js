import assert from 'node:assert/strict';
import {test} from 'node:test';

import {fieldsOf, kindOf, remarkOn} from '../../../simulator/panel/field-controls.js';

const kType = {key: 'type', kind: 'enumeration', literals: ['Clamp15', 'ClampS']};

test('an element has the fields of its model, and what it has beyond it', () => {
    const fields = fieldsOf({fields: [kType]}, {id: '1', name: 'n', uri: '/a/b/1', type: 'ClampS', extra: 5});
    assert.deepEqual(fields, [kType, {key: 'extra', kind: 'integer', isExtra: true}]);
});

test('without a model, the values tell the kinds of the fields', () => {
    assert.deepEqual(fieldsOf({}, {id: '1', on: true, text: 'x'}),
        [{key: 'on', kind: 'bool', isExtra: false}, {key: 'text', kind: 'string', isExtra: false}]);
    assert.deepEqual([true, 1, 1.5, 'x', null, [], {}].map(kindOf),
        ['bool', 'integer', 'unknown', 'string', 'unknown', 'unknown', 'unknown']);
});

test('what is unusual about a value is remarked', () => {
    assert.equal(remarkOn(kType, 'ClampS'), '');
    assert.equal(remarkOn(kType, 'ClampX'), 'unknown literal');
    assert.equal(remarkOn(kType, 5), 'not of kind enumeration: 5');
    assert.equal(remarkOn(kType, undefined), 'not set');
    assert.equal(remarkOn({key: 'on', kind: 'bool'}, 'true'), 'not of kind bool: true');
    assert.equal(remarkOn({key: 'more', kind: 'string', isExtra: true}, 'x'), 'not in the model');
    assert.equal(remarkOn({key: 'list', kind: 'enumerations', literals: ['a']}, ['a', 'b']), 'unknown literal: b');
    assert.equal(remarkOn({key: 'to', kind: 'reference'}, null), '');
});
