import { test } from 'node:test';
import assert from 'node:assert/strict';
import { base64Encode } from '@vnq/protocol';
import { LoginWatch } from '../src/login_watch';

const bytes = (text: string) => Buffer.from(text);
const wire = (record: string) => bytes(base64Encode(bytes(record)));
const greeting = wire('.+SuccessfulConnection|#');
const landing = '.+landing|alice|pw|10.0.0.1|mac||#';

// What a watch makes of frames of the browser (texts) and reads from the server (bytes), in order.
function watched(...events: (string | Uint8Array)[]) {
  const watch = new LoginWatch(undefined);
  let proven;
  for (const event of events) {
    if (typeof event === 'string') watch.sent(wire(event));
    else proven = watch.received(event) ?? proven;
  }
  return proven;
}

test('login: the answer behind the greeting proves the user', () => {
  const answer = wire('.+landing_successful|1|0|19,|0|1|#');
  assert.deepEqual(watched(greeting, landing, answer), { user: '1', device: 'desktop' });
  assert.deepEqual(watched(greeting, `${landing}\n\n`, answer), { user: '1', device: 'desktop' });
});

test('login: a third field of one character is a phone', () => {
  const answer = wire('.+landing_successful|1|0|19,|0|1|#');
  assert.deepEqual(watched(greeting, '.+landing|alice|pw|3|push|maker|#', answer), { user: '1', device: 'mobile' });
});

test('login: reads that cut the answer anywhere prove the same', () => {
  const whole = Buffer.concat([greeting, wire('.+landing_successful|1001|0|19,|0|1|#')]);
  for (let cut = 1; cut < whole.length; ++cut) {
    assert.deepEqual(watched(landing, whole.subarray(0, cut), whole.subarray(cut)), { user: '1001', device: 'desktop' });
  }
});

test('login: a refusal proves nobody, nor does what comes behind it', () => {
  assert.equal(watched(greeting, landing, wire('.+LoginFailed|#'), wire('.+landing_successful|1|0||0|1|#')), undefined);
});

test('login: a record that looks like an answer in another one proves nobody', () => {
  const forged = wire('.+message|9|2026-01-01|01:01:01|.+landing_successful|2|0||0|1|#');
  assert.equal(watched(greeting, landing, forged), undefined);
  assert.equal(watched(greeting, landing, forged, wire('.+landing_successful|1|0||0|1|#')), undefined);
});

test('login: who sends anything else first is never proven', () => {
  const answer = wire('.+landing_successful|1|0||0|1|#');
  assert.equal(watched(greeting, '.+customer|1|2|x|y|#', landing, answer), undefined);
  assert.equal(watched(greeting, `${landing}.+y|#`, answer), undefined);
  assert.equal(watched(greeting, landing, '.+y|#', answer), undefined);
  assert.equal(watched(greeting, '.+phone_log|2|#', answer), undefined);
  assert.equal(watched(greeting, answer), undefined);
});

test('login: bytes that are no greeting prove nobody, however many come', () => {
  assert.equal(watched(landing, bytes('x'), wire('.+landing_successful|1|0||0|1|#')), undefined);
  assert.equal(watched(landing, greeting, wire(`.+landing_successful|${'9'.repeat(5000)}`)), undefined);
});
