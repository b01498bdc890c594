// The page: takes photographs, has the worker measure them, and shows which is best.
import { showBursts } from './bursts.js';
import { element } from './element.js';
import { burstsOf } from './ranking.js';
import { cameraPictures, videoPictures } from './recording.js';
import { saveFiles, saveList } from './saving.js';
import { WorkerCalls } from './worker_calls.js';

const part = (id) => document.getElementById(id);
const byName = (a, b) => a.name.localeCompare(b.name, 'en', { numeric: true });

let calls = new WorkerCalls();
let frames = []; // measured, in the order of their names
let problems = [];
let running = null; // the AbortController of what is being measured

// Everything that is to be measured, one picture at a time.
async function* picturesOf(files, signal) {
  let done = 0;
  for (const file of files) {
    if (file.type.startsWith('video/')) {
      try {
        for await (const { total, ...picture } of videoPictures(file, signal))
          yield { ...picture, done, total: files.length - 1 + total };
      } catch (error) {
        signal.throwIfAborted();
        problems.push({ name: file.name, problem: error.message });
      }
    } else {
      yield { name: file.name, file, done, total: files.length };
    }
    ++done;
  }
}

async function measureAll(pictures, controller) {
  running?.abort();
  running = controller;
  frames = [];
  problems = [];
  showProgress(0, 1);
  setBusy(true);
  try {
    let done = 0;
    for await (const { name, total, ...picture } of pictures) {
      controller.signal.throwIfAborted();
      await measure(name, picture);
      showProgress(++done, Math.max(total, done));
    }
    await showAll();
  } catch (error) {
    if (running === controller)
      say(controller.signal.aborted ? 'Cancelled.' : error.message);
  } finally {
    if (running === controller) {
      running = null;
      setBusy(false);
    }
  }
}

async function measure(name, picture) {
  try {
    const transfer = picture.picture ? [picture.picture] : [];
    frames.push({ name, number: frames.length, ...await calls.call('measure', picture, transfer) });
  } catch (error) {
    problems.push({ name, problem: error.message });
  }
}

async function showAll() {
  const keep = Math.max(1, Math.trunc(part('keep').valueAsNumber) || 1);
  const bursts = [];
  for (const members of burstsOf(frames, part('split').checked))
    bursts.push({
      frames: members,
      choice: await calls.call('rank', { blurs: members.map(({ blur }) => blur), keep }),
    });
  showProblems();
  await showBursts(part('bursts'), bursts, calls);
  part('save').hidden = bursts.length === 0;
  const kept = bursts.reduce((sum, { choice }) => sum + choice.kept.length, 0);
  say(bursts.length === 0 ? 'There is nothing to rank.' : `${counted(bursts.length, 'burst')}, ${
    counted(frames.length, 'frame')}, ${kept} kept.`);
  if (bursts.length > 0)
    part('bursts').focus();
}

const counted = (count, noun) => `${count} ${noun}${count === 1 ? '' : 's'}`;
const say = (text) => { part('status').textContent = text; };

function showProgress(done, total) {
  part('progress-bar').max = total;
  part('progress-bar').value = done;
  part('progress-text').textContent = `Measured ${done} of ${total}`;
}

function setBusy(busy) {
  part('progress').hidden = !busy;
  part('take-burst').disabled = busy;
  if (busy) {
    part('bursts').replaceChildren();
    part('problems').hidden = part('save').hidden = true;
    say('');
  }
}

function showProblems() {
  part('problems').hidden = problems.length === 0;
  part('problems').replaceChildren(
    element('p', { textContent: `Left out ${counted(problems.length, 'file')}:` }),
    element('ul', {}, ...problems.map(({ name, problem }) =>
      element('li', { textContent: `${name}: ${problem}` }))));
}

function take(given) {
  const files = [...given].filter((file) => !file.name.startsWith('.')).sort(byName);
  if (files.length === 0)
    return;
  const controller = new AbortController();
  measureAll(picturesOf(files, controller.signal), controller);
}

// The files of what was dropped, those in folders too.
async function droppedFiles(items) {
  const entries = [...items].map((item) => item.webkitGetAsEntry?.() ?? item.getAsFile());
  const filesOf = async (entry) => {
    if (entry === null || entry instanceof File)
      return entry ?? [];
    if (entry.isFile)
      return new Promise((resolve, reject) => entry.file(resolve, reject));
    const reader = entry.createReader(), found = [];
    for (let some; !some || some.length > 0; found.push(...some)) // it gives 100 at a time
      some = await new Promise((resolve, reject) => reader.readEntries(resolve, reject));
    return (await Promise.all(found.map(filesOf))).flat();
  };
  return (await Promise.all(entries.map(filesOf))).flat();
}

async function keptFiles() {
  return [...document.querySelectorAll('input[name="kept"]:checked')]
    .map((box) => frames[Number(box.value)]);
}

async function save(act) {
  try {
    const kept = await keptFiles();
    say(kept.length === 0 ? 'No frame is kept.' : await act(kept));
  } catch (error) {
    say(error.name === 'AbortError' ? 'Nothing was saved.' : error.message);
  }
}

function connect() {
  const press = (id, act) => part(id).addEventListener('click', act);
  for (const [button, input] of [['choose-files', 'files'], ['choose-folder', 'folder']]) {
    press(button, () => part(input).click());
    part(input).addEventListener('change', () => {
      take(part(input).files);
      part(input).value = '';
    });
  }
  press('take-burst', () => {
    const controller = new AbortController();
    measureAll(cameraPictures(controller.signal), controller);
  });
  press('cancel', () => {
    running?.abort();
    calls.close();
    calls = new WorkerCalls();
    part('choose-files').focus();
  });
  for (const id of ['keep', 'split'])
    part(id).addEventListener('change', () => frames.length > 0 && !running && showAll());
  press('save-files', () => save((kept) => saveFiles(kept)));
  press('save-list', () => save((kept) => saveList(kept.map(({ name }) => name)) ?? 'Saved a list.'));
  addEventListener('dragover', (event) => {
    event.preventDefault();
    part('choose').classList.add('over');
  });
  addEventListener('dragleave', () => part('choose').classList.remove('over'));
  addEventListener('drop', async (event) => {
    event.preventDefault();
    part('choose').classList.remove('over');
    take(await droppedFiles(event.dataTransfer.items));
  });
  part('take-burst').hidden = !navigator.mediaDevices?.getUserMedia;
}

connect();
navigator.serviceWorker?.register('service_worker.js').catch(() => {}); // then there is no page offline
