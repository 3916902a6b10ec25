// SPDX-License-Identifier: BSL-1.0
'use strict';
// The page of lipc serve. Every text in it that another program wrote goes into the page as text and
// never as markup.

const cBottomDB = -60;
const cRetryMS = 2000;
const cSilenceMS = 6000; // the server says something every second
const cDetailsMS = 1000;
const cMostEvents = 200;

const byId = id => document.getElementById(id);
const clients = new Map(); // by key: {data, item, meters}
let source = null;
let lastHeard = 0;
let retry = 0;

/// Changes the document only where something is different.
function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

function element(name, text, className) {
  const made = document.createElement(name);
  if (text !== undefined) made.textContent = text;
  if (className) made.className = className;
  return made;
}

function setState(badge, state, text) {
  badge.dataset.state = state;
  setText(badge, text);
}

// ---- the session ----

const cStateTexts = {
  alive: 'host alive', stalled: 'host stalled', none: 'no session', unreadable: 'cannot be read',
  frozen: 'snapshot',
};

function sentenceOf(session) {
  if (session.state === 'stalled')
    return 'The heartbeat stands still: the host is dead or stopped, and this is what it left.';
  if (session.state === 'frozen') return 'From the snapshot ' + session.sentence;
  if (session.sentence) return session.sentence[0].toUpperCase() + session.sentence.slice(1);
  return session.host.forbidsJoins ? 'The host forbids joins.' : '';
}

function showSession(session) {
  setState(byId('state'), session.state, cStateTexts[session.state]);
  setText(byId('notice'), sentenceOf(session));
  const isThere = session.host.protocol > 0;
  setText(byId('protocol'),
      isThere ? `${session.host.protocol}, ${session.host.pointerWidthBits} bits` : '-');
  setText(byId('reference'), session.host.referenceClient || '-');
  setText(byId('count'), String(session.keys.length));
  for (const [key, client] of clients) {
    if (session.keys.includes(key)) continue;
    client.item.remove();
    clients.delete(key);
  }
  byId('nobody').hidden = session.keys.length > 0;
  showConnections(byId('connections'), session.connections);
  const problem = session.connections === null;
  byId('unconnected').hidden = !problem && session.connections.length > 0;
  setText(byId('unconnected'), problem && session.connectionsError
      ? 'The connections cannot be read: ' + session.connectionsError : 'There are no connections.');
  showGraph(session);
}

function wiresText(connection) {
  const count = connection.wires.length;
  const words = [count === 1 ? '1 wire' : `${count} wires`];
  if (connection.automatic) words.push('automatic');
  if (connection.disconnected) words.push('disconnected');
  const pairs = connection.wires.map(([from, to]) => `${from}\u2192${to}`).join(' ');
  return words.join(', ') + (pairs ? ': ' + pairs : '');
}

function showConnections(list, connections) {
  const items = (connections || []).map(connection => {
    const item = element('li');
    item.append(element('span', connection.source, 'foreign'), ' \u2192 ',
        element('span', connection.target, 'foreign'), ' ',
        element('div', wiresText(connection), 'wires'));
    return item;
  });
  list.replaceChildren(...items);
}

/// The picture that is there stays until the next one has come.
function showGraph(session) {
  const graph = byId('graph');
  if (!session.graph || graph.dataset.number === String(session.graph)) return;
  const next = new Image();
  next.addEventListener('load', () => {
    graph.src = next.src;
    graph.hidden = false;
  });
  graph.dataset.number = String(session.graph);
  graph.alt = (session.connections || []).map(c => `${c.source} to ${c.target}`).join(', ');
  next.src = `graph.svg?${session.graph}`;
}

// ---- clients ----

function makeClient(data) {
  const item = byId('client').content.firstElementChild.cloneNode(true);
  const client = {data, item, meters: {send: [], answer: []}};
  item.querySelector('.head').addEventListener('click', () => openDetails(client.data));
  return client;
}

function showClient(data) {
  let client = clients.get(data.key);
  if (!client) {
    client = makeClient(data);
    clients.set(data.key, client);
    const after = [...clients.values()].filter(other => other.data.index > data.index)
        .sort((a, b) => a.data.index - b.data.index)[0];
    byId('clients').insertBefore(client.item, after ? after.item : null);
  }
  client.data = data;
  const find = selector => client.item.querySelector(selector);
  client.item.dataset.state = data.life;
  setState(find('.head .state'), data.life, data.life);
  setText(find('.name'), data.name);
  setText(find('.id'), data.id);
  setText(find('.type'), data.type);
  setText(find('.channels'), `${data.inputChannels} in, ${data.outputChannels} out`);
  find('.head').setAttribute('aria-label', `${data.name}, ${data.id}, ${data.life}: details`);
  find('.meters[data-ring="send"]').setAttribute('aria-label', `${data.id} sends`);
  find('.meters[data-ring="answer"]').setAttribute('aria-label', `${data.id} gets`);
}

const numberText = (value, digits) => value === null ? '-' : value.toFixed(digits);
const dBText = dB => dB === null ? '-\u221e' : dB.toFixed(1);

function placeText(dB) {
  const part = dB === null ? 0 : Math.min(Math.max(1 - dB / cBottomDB, 0), 1);
  return `${(part * 100).toFixed(1)}%`;
}

function makeMeter(channel, ring) {
  const item = byId('meter').content.firstElementChild.cloneNode(true);
  const bar = item.querySelector('.bar');
  setText(item.querySelector('.channel'), String(channel));
  bar.setAttribute('aria-label', `${ring === 'send' ? 'sends' : 'gets'} channel ${channel}`);
  return {item, bar, number: item.querySelector('.db')};
}

/// The number beside a bar is the held level, since it stands still for long enough to be read.
function showMeter(meter, [level, held]) {
  meter.bar.style.setProperty('--level', placeText(level));
  meter.bar.style.setProperty('--held', held === null ? '-1%' : placeText(held));
  const text = dBText(held);
  if (meter.number.textContent === text) return;
  setText(meter.number, text);
  meter.bar.setAttribute('aria-valuenow', String(held === null ? cBottomDB : held));
  meter.bar.setAttribute('aria-valuetext', `${text} dB`);
}

function showMeters(client, ring, levels) {
  const meters = client.meters[ring];
  const list = client.item.querySelector(`.meters[data-ring="${ring}"]`);
  list.hidden = levels.length === 0;
  while (meters.length > levels.length) meters.pop().item.remove();
  while (meters.length < levels.length) {
    meters.push(makeMeter(meters.length, ring));
    list.querySelector('ol').append(meters[meters.length - 1].item);
  }
  levels.forEach((level, channel) => showMeter(meters[channel], level));
}

function showLevels(levels) {
  setText(byId('heartbeat'), levels.heartbeat ? String(levels.heartbeat) : '-');
  for (const moving of levels.clients) {
    const client = clients.get(moving.key);
    if (!client) continue;
    const find = selector => client.item.querySelector(selector);
    setText(find('.blocks'), numberText(moving.blocksPerSecond, 1));
    setText(find('.queue'), numberText(moving.blocksWaiting, 0));
    setText(find('.missing'), moving.answers ? String(moving.answers.missing) : '-');
    showMeters(client, 'send', moving.send);
    showMeters(client, 'answer', moving.answer);
    client.item.classList.toggle('wide', moving.send.length > 8 || moving.answer.length > 8);
  }
}

// ---- events ----

function showEvents(events) {
  const list = byId('events');
  for (const event of events) {
    const item = element('li');
    const time = element('time', event.time);
    item.append(time, element('span', event.event), element('span', event.text, 'foreign'));
    list.prepend(item);
  }
  while (list.childElementCount > cMostEvents) list.lastElementChild.remove();
}

// ---- a client's details ----

let opened = null; // the key of the client whose details are shown
let detailsTimer = 0;

function table(caption, heads, rows) {
  const frame = element('div', undefined, 'table');
  const made = element('table');
  if (caption) made.append(element('caption', caption));
  const head = element('tr');
  for (const [text, isNumber] of heads) {
    const cell = element('th', text, isNumber ? 'number' : '');
    cell.scope = 'col';
    head.append(cell);
  }
  made.append(element('thead'));
  made.tHead.append(head);
  const body = made.createTBody();
  for (const {cells, className} of rows) {
    const row = element('tr', undefined, className);
    cells.forEach((text, i) => row.append(element('td', text, heads[i][1] ? 'number' : 'foreign')));
    body.append(row);
  }
  frame.append(made);
  return frame;
}

/// As a float prints, not as the double that it became on the way.
function valueText(value) {
  if (value === null) return 'not a number';
  return typeof value === 'number' ? String(parseFloat(value.toPrecision(7))) : value;
}

function showValues(values) {
  const rows = values.map(value => ({
    cells: [value.name || value.what, value.what, valueText(value.value), valueText(value.default)],
    className: value.differs ? 'different' : '',
  }));
  byId('details-values').replaceChildren(rows.length
    ? table('', [['name'], ['place'], ['value'], ['default']], rows)
    : element('p', 'All have their defaults.', 'quiet'));
}

function showRings(rings) {
  const tables = [];
  for (const [ring, caption] of [[rings.send, 'sends'], [rings.return, 'gets']]) {
    if (!ring) continue;
    const rows = ring.slices.map(slice => ({
      cells: [String(slice.timeStamp), String(slice.sampleCount),
        slice.missed ? 'missed' : slice.ready ? 'ready' : 'open', slice.clientID],
    }));
    tables.push(table(`${caption}, ${ring.channels} channels`,
        [['time stamp', true], ['samples', true], ['state'], ['written by']], rows));
  }
  byId('details-rings').replaceChildren(...(tables.length
    ? tables : [element('p', 'It has no rings.', 'quiet')]));
}

function segmentRow(segment) {
  const maker = segment.creator;
  return {cells: segment.error ? [segment.name, '-', '-', '-', 'may not be read'] : [
    segment.name, String(segment.bytes), String(segment.attachCount),
    maker ? String(maker.id) : '-', maker ? maker.command : '-']};
}

function showDetails(details) {
  setText(byId('details-name'), details.name);
  const facts = [
    ['state', details.life], ['ID', details.id], ['row', String(details.index)],
    ['type', details.type], ['mode', details.modeText],
    ['channels', `${details.inputChannels} in, ${details.outputChannels} out`],
    ['stamp', details.stampAgeSeconds === null ? 'none' : `${details.stampAgeSeconds} s old`],
    ['blocks/s', numberText(details.blocksPerSecond, 1)],
    ['blocks waiting', numberText(details.blocksWaiting, 0)],
    ['answers', details.answers
      ? `${details.answers.missing} of ${details.answers.seen} missing` : '-'],
  ];
  byId('details-facts').replaceChildren(...facts.map(([name, value]) => {
    const group = element('div');
    group.append(element('dt', name), element('dd', value, 'foreign'));
    return group;
  }));
  showValues(details.values);
  const connections = details.connections || [];
  showConnections(byId('details-connections'), connections);
  if (!connections.length)
    byId('details-connections').append(element('li', 'It has none.', 'quiet'));
  showRings(details.rings);
  byId('details-segments').replaceChildren(table('',
      [['name'], ['bytes', true], ['attached', true], ['made by', true], ['command']],
      details.segments.filter(segment => segment).map(segmentRow)));
}

async function refreshDetails() {
  const key = opened;
  if (key === null || document.hidden) return;
  let notice = '';
  try {
    const response = await fetch('client?key=' + encodeURIComponent(key), {cache: 'no-store'});
    if (response.ok) {
      const details = await response.json();
      if (opened === key) showDetails(details);
    } else {
      notice = response.status === 404 ? 'This client is not in the session any more.'
        : 'The session could not be read; trying again.';
    }
  } catch {
    notice = 'Connection lost, trying again.';
  }
  setText(byId('details-notice'), notice);
}

function openDetails(client) {
  opened = client.key;
  setText(byId('details-name'), client.name);
  byId('details').showModal();
  byId('details').scrollTop = 0;
  refreshDetails();
  clearInterval(detailsTimer);
  detailsTimer = setInterval(refreshDetails, cDetailsMS);
}

function closeDetails() {
  opened = null;
  clearInterval(detailsTimer);
}

// ---- the connection to the server ----

function lose() {
  disconnect();
  document.body.classList.add('lost');
  setState(byId('state'), 'lost', 'connection lost, trying again');
  if (!document.hidden) retry = setTimeout(connect, cRetryMS);
}

function disconnect() {
  clearTimeout(retry);
  if (source) source.close();
  source = null;
}

/// What the server tells first: all that follows is new.
function begin() {
  byId('events').replaceChildren();
  document.body.classList.remove('lost', 'waiting');
}

function connect() {
  disconnect();
  lastHeard = performance.now();
  source = new EventSource('events');
  source.addEventListener('error', lose);
  const on = (name, show) => source.addEventListener(name, event => {
    lastHeard = performance.now();
    show(JSON.parse(event.data));
  });
  on('begin', begin);
  on('session', showSession);
  on('client', showClient);
  on('levels', showLevels);
  on('happened', showEvents);
  on('still', () => {});
}

byId('close').addEventListener('click', () => byId('details').close());
byId('details').addEventListener('close', closeDetails);
// Nobody looks at a hidden page: the session need not be read for it.
document.addEventListener('visibilitychange', () => document.hidden ? disconnect() : connect());
setInterval(() => {
  if (source && performance.now() - lastHeard > cSilenceMS) lose();
}, 1000);
connect();
