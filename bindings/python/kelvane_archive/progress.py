"""A line that says how far a run is."""
import sys
import time


def count_errors(answer):
    return ("error" in answer) + len(answer.get("skipped", []))


class Progress:
    """Counts bursts, photographs and errors; on a terminal in one line, otherwise now and then."""

    def __init__(self, bursts, stream=sys.stderr):
        self._total, self._stream = bursts, stream
        self._terminal = stream.isatty()
        self._start = time.monotonic()
        self._due = self._start + (0.5 if self._terminal else 10)
        self.bursts = self.photographs = self.errors = 0

    def add(self, burst, answer):
        self.bursts += 1
        self.photographs += len(burst["files"])
        self.errors += count_errors(answer)
        if time.monotonic() >= self._due:
            self.show()

    def text(self):
        seconds = max(time.monotonic() - self._start, 1e-3)
        left = (self._total - self.bursts) * seconds / max(self.bursts, 1)
        return (f"{self.bursts} of {self._total} bursts, {self.photographs / seconds:.0f} "
                f"photographs a second, {self.errors} errors, {left / 60:.0f} minutes left")

    def show(self):
        self._due = time.monotonic() + (0.5 if self._terminal else 10)
        print(f"\r\x1b[K{self.text()}" if self._terminal else self.text(),
              end="" if self._terminal else "\n", file=self._stream, flush=True)

    def end(self):
        if self._terminal:
            print("\r\x1b[K", end="", file=self._stream)
