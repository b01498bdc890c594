"""Batches of bursts: what one task of the cluster ranks."""
import dataclasses


@dataclasses.dataclass(frozen=True)
class BatchSize:
    """Where a batch ends. A burst is never divided.

    The bytes stand for the time that large photographs take to decode, the files for that of small
    ones: together a second or more, beside which starting the tool and scheduling are little.
    """
    files: int = 500
    bytes: int = 256 << 20


def cut(bursts, size):
    """Cuts an iterable of bursts into lists."""
    batch, files, bytes_ = [], 0, 0
    for burst in bursts:
        more = sum(filter(None, burst.get("bytes", [])))
        if batch and (files + len(burst["files"]) > size.files or bytes_ + more > size.bytes):
            yield batch
            batch, files, bytes_ = [], 0, 0
        batch.append(burst)
        files += len(burst["files"])
        bytes_ += more
    if batch:
        yield batch


def halves(batch):
    middle = len(batch) // 2
    return [batch[:middle], batch[middle:]]
