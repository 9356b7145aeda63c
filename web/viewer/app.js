// The viewer page: opens a caption file with the caption reader, decodes the
// chosen track with the library on media time, and draws the screen at the
// playhead.  Deep links: ?file=NAME&service=CC1&t=SECONDS opens files/NAME
// (files served beside the page) at that moment.

import * as captions from 'libvqsoftcc';
import { renderScreen } from './render.js';
import { Timeline } from './timeline.js';

const $ = (id) => document.getElementById(id);
const state = {
  softcc: null,
  reader: null,
  file: null, // what the reader made of the open file
  name: '', // its name
  served: false, // whether files/<name> serves it (for links)
  service: '',
  timeline: null,
  format: 708,
  t: 0,
  playing: false,
  started: { wall: 0, t: 0 }, // where playing (without video) started
  video: false,
  drawn: null, // what the screen shows: session, version and options
  logShown: null, // the first callback the log pane shows and how many
};

// ---- Time ------------------------------------------------------------------------

function clock(seconds) {
  const ms = Math.round(seconds * 1000);
  const whole = Math.floor(ms / 1000);
  return `${Math.floor(whole / 60)}:${String(whole % 60).padStart(2, '0')}.${String(ms % 1000).padStart(3, '0')}`;
}

// The end of the timeline: the captions' end, or a longer video's.
function end() {
  const duration = $('video').duration;
  return Math.max(state.timeline ? state.timeline.end : 0, state.video && Number.isFinite(duration) ? duration : 0);
}

function setEnd() {
  $('scrub').max = String(end());
  $('duration').textContent = clock(end());
}

function aspect() {
  const chosen = $('aspect').value;
  if (chosen !== 'auto') return chosen;
  const video = $('video');
  if (state.video && video.videoWidth) return video.videoWidth / video.videoHeight > 1.55 ? '16:9' : '4:3';
  return state.format === 608 ? '4:3' : '16:9';
}

// ---- Drawing -----------------------------------------------------------------------

function draw(windows) {
  const session = state.timeline.session;
  const options = { format: state.format, aspect: aspect(), showHidden: $('hidden').checked };
  const drawn = { session, version: session.version, ...options };
  const last = state.drawn;
  if (last && Object.keys(drawn).every((k) => drawn[k] === last[k])) return;
  state.drawn = drawn;
  const [width, height] = options.aspect.split(':').map(Number);
  $('picture').style.aspectRatio = `${width} / ${height}`;
  $('picture').style.setProperty('--ratio', String(width / height));
  $('captions').replaceChildren(renderScreen(document, windows.filter(Boolean), options));
}

function showChange(t) {
  const index = state.timeline.changeAt(t);
  const list = $('changes');
  const previous = list.querySelector('li.current');
  const current = index >= 0 ? list.children[index] : null;
  if (previous === current) return;
  previous?.classList.remove('current');
  if (current === null) return;
  current.classList.add('current');
  // Keep the current change in view inside the list, without moving the page.
  if (current.offsetTop < list.scrollTop || current.offsetTop + current.offsetHeight > list.scrollTop + list.clientHeight) {
    list.scrollTop = current.offsetTop - list.clientHeight / 2;
  }
}

function showLog(t) {
  const entries = state.timeline.logAt(t);
  const shown = { first: entries[0], count: entries.length };
  if (state.logShown && shown.first === state.logShown.first && shown.count === state.logShown.count) return;
  state.logShown = shown;
  $('log-time').textContent = entries.length ? `at ${entries[0].time.toFixed(3)} s` : '';
  const items = entries.map((e) => {
    const li = document.createElement('li');
    li.append(timeElement(e.time), bold(e.name), e.detail);
    return li;
  });
  if (state.timeline.logTruncated) items.push(Object.assign(document.createElement('li'), { textContent: '(log kept for the first 100000 callbacks only)' }));
  $('log').replaceChildren(...items);
}

function timeElement(seconds) {
  return Object.assign(document.createElement('time'), { textContent: seconds.toFixed(3) });
}

function bold(text) {
  return Object.assign(document.createElement('b'), { textContent: text });
}

// Shows media time t: the screen, the clock, the change and the callbacks.
function show(t) {
  if (!state.timeline) return;
  state.t = Math.min(Math.max(t, 0), end());
  draw(state.timeline.windowsAt(state.t));
  $('clock').textContent = clock(state.t);
  $('scrub').value = String(state.t);
  showChange(state.t);
  showLog(state.t);
}

// ---- Playing ------------------------------------------------------------------------

function speed() {
  return Number($('speed').value);
}

function tick(now) {
  if (!state.playing) return;
  const video = $('video');
  let t = state.video ? video.currentTime : state.started.t + ((now - state.started.wall) / 1000) * speed();
  if (t >= end() || (state.video && video.ended)) {
    t = Math.min(t, end());
    pause();
  }
  show(t);
  if (state.playing) requestAnimationFrame(tick);
}

function play() {
  if (!state.timeline || state.playing) return;
  if (state.t >= end()) show(0);
  state.playing = true;
  state.started = { wall: performance.now(), t: state.t };
  if (state.video) {
    $('video').playbackRate = speed();
    $('video').play().catch(() => pause());
  }
  $('play').textContent = 'Pause';
  requestAnimationFrame(tick);
}

function pause() {
  if (!state.playing) return;
  state.playing = false;
  if (state.video) $('video').pause();
  $('play').textContent = 'Play';
  remember();
}

function seek(t) {
  show(t);
  state.started = { wall: performance.now(), t: state.t };
  if (state.video) $('video').currentTime = state.t;
  if (!state.playing) remember();
}

// The address of this moment, when the file is one the server has.
function remember() {
  if (!state.served) return;
  const params = new URLSearchParams({ file: state.name, service: state.service, t: state.t.toFixed(3) });
  history.replaceState(null, '', `?${params}`);
}

// ---- Files and tracks -------------------------------------------------------------

function status(message, error = false) {
  $('status').textContent = message;
  $('status').classList.toggle('error', error);
}

function trackLabel(track) {
  const name = /^\d+$/.test(track.service) ? `708 service ${track.service}` : track.service;
  return `${name} (${track.first.toFixed(1)}–${track.last.toFixed(1)} s)`;
}

function defaultService(file) {
  const track = file.defaultTrack;
  if (track === null || track === undefined) return file.tracks[0]?.service;
  return String(typeof track === 'object' ? track.service : track);
}

// Opens a caption file's bytes; service and t choose the track and moment.
function openBytes(bytes, name, { served = false, service, t = 0 } = {}) {
  pause();
  let file;
  try {
    file = state.reader.read(bytes, { name });
  } catch (error) {
    status(error.message, true);
    return false;
  }
  Object.assign(state, { file, name, served });
  const select = $('track');
  select.replaceChildren(...file.tracks.map((track) => new Option(trackLabel(track), track.service)));
  select.disabled = file.tracks.length === 0;
  $('warnings').replaceChildren(...file.warnings.map((w) => Object.assign(document.createElement('li'), { textContent: `${name}:${w.at}: ${w.message}` })));
  if (file.tracks.length === 0) {
    status(`${name}: ${file.carrier}, no captions`, true);
    return false;
  }
  const wanted = file.tracks.some((track) => track.service === service) ? service : defaultService(file);
  select.value = wanted;
  openTrack(wanted, t);
  return true;
}

function openTrack(service, t = 0) {
  pause();
  state.timeline?.close();
  const feed = state.file.feed(service);
  state.timeline = new Timeline(state.softcc, feed, state.file.end ?? 0);
  Object.assign(state, { service, format: feed.format, drawn: null, logShown: null });
  setEnd();
  $('scrub').disabled = false;
  $('play').disabled = false;
  $('changes').replaceChildren(...state.timeline.changes.map(changeItem));
  status(`${state.name}: ${state.file.carrier}, ${state.timeline.changes.length} changes of the screen`);
  seek(t);
}

function changeItem(change) {
  const li = document.createElement('li');
  li.append(timeElement(change.time), change.label);
  li.title = change.label;
  li.addEventListener('click', () => seek(change.time));
  return li;
}

async function openServed(name, options = {}) {
  const response = await fetch(`files/${encodeURIComponent(name)}`);
  if (!response.ok) {
    status(`${name}: not served here (HTTP ${response.status})`, true);
    return false;
  }
  $('served').value = name;
  return openBytes(new Uint8Array(await response.arrayBuffer()), name, { ...options, served: true });
}

async function openLocal(file) {
  $('served').value = '';
  return openBytes(new Uint8Array(await file.arrayBuffer()), file.name);
}

// The server lists its files at files/ (a JSON array of names).
async function listServed() {
  let names = [];
  try {
    const response = await fetch('files/');
    if (response.ok) names = await response.json();
  } catch {
    names = [];
  }
  if (!Array.isArray(names) || names.length === 0) $('served').parentElement.hidden = true;
  else $('served').append(...names.map((name) => new Option(name, name)));
}

function openVideo(file) {
  const video = $('video');
  if (video.src) URL.revokeObjectURL(video.src);
  video.src = URL.createObjectURL(file);
  video.hidden = false;
  state.video = true;
  video.addEventListener('loadedmetadata', () => {
    video.currentTime = state.t;
    state.drawn = null;
    setEnd();
    if (state.timeline) show(state.t);
  }, { once: true });
}

// ---- Wiring ---------------------------------------------------------------------------

function wire() {
  $('play').addEventListener('click', () => (state.playing ? pause() : play()));
  $('scrub').addEventListener('input', () => seek(Number($('scrub').value)));
  $('speed').addEventListener('change', () => {
    state.started = { wall: performance.now(), t: state.t };
    if (state.video) $('video').playbackRate = speed();
  });
  $('track').addEventListener('change', () => openTrack($('track').value));
  $('served').addEventListener('change', () => $('served').value && openServed($('served').value));
  $('open').addEventListener('change', () => $('open').files[0] && openLocal($('open').files[0]));
  $('video-file').addEventListener('change', () => $('video-file').files[0] && openVideo($('video-file').files[0]));
  for (const id of ['aspect', 'hidden']) $(id).addEventListener('change', () => state.timeline && show(state.t));
  document.addEventListener('keydown', (event) => {
    if (event.key === ' ' && event.target === document.body) {
      event.preventDefault();
      state.playing ? pause() : play();
    }
  });
  document.body.addEventListener('dragover', (event) => {
    event.preventDefault();
    document.body.classList.add('dragging');
  });
  document.body.addEventListener('dragleave', () => document.body.classList.remove('dragging'));
  document.body.addEventListener('drop', (event) => {
    event.preventDefault();
    document.body.classList.remove('dragging');
    const file = event.dataTransfer.files[0];
    if (file) (file.type.startsWith('video/') ? openVideo(file) : openLocal(file));
  });
}

async function start() {
  wire();
  state.softcc = await captions.loadSoftCC();
  if (typeof captions.loadCaptionReader !== 'function') {
    status('This build of the package has no caption reader (loadCaptionReader).', true);
    return;
  }
  state.reader = await captions.loadCaptionReader();
  await listServed();
  const params = new URLSearchParams(location.search);
  if (params.has('file')) {
    await openServed(params.get('file'), { service: params.get('service') ?? undefined, t: Number(params.get('t')) || 0 });
  }
}

// For scripts and tests: the viewer's state and its controls.
window.viewer = {
  ready: start().catch((error) => {
    status(String(error.message ?? error), true);
    throw error;
  }),
  open: (name, options) => openServed(name, options),
  seek,
  play,
  pause,
  get time() { return state.t; },
  get playing() { return state.playing; },
  get timeline() { return state.timeline; },
  get service() { return state.service; },
};
