// Calls of the worker, each answered by a promise.
export class WorkerCalls {
  #worker = new Worker(new URL('worker.js', import.meta.url), { type: 'module' });
  #waiting = new Map();
  #last = 0;

  constructor() {
    this.#worker.onmessage = ({ data: { id, result, problem } }) => {
      const { resolve, reject } = this.#waiting.get(id);
      this.#waiting.delete(id);
      problem === undefined ? resolve(result) : reject(new Error(problem));
    };
    this.#worker.onerror = () => this.#refuse('the measuring could not be started');
  }

  call(task, given, transfer = []) {
    return new Promise((resolve, reject) => {
      this.#waiting.set(++this.#last, { resolve, reject });
      this.#worker.postMessage({ id: this.#last, task, ...given }, transfer);
    });
  }

  close() {
    this.#worker.terminate();
    this.#refuse('cancelled');
  }

  #refuse(problem) {
    for (const { reject } of this.#waiting.values())
      reject(new Error(problem));
    this.#waiting.clear();
  }
}
