"""Where batches are ranked: on this machine, or on a cluster that exists."""
import contextlib
import os
import tempfile

from .error import ArchiveError


def _memory_for_each(count):
    total = os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES")
    return int(0.8 * total / count)


@contextlib.contextmanager
def _of_slurm(processes, memory):
    try:
        import dask_jobqueue
    except ImportError as error:
        raise ArchiveError("--slurm needs the Python package dask-jobqueue; without it start a "
                           "scheduler and workers with srun, as docs/scaling.md says, and give "
                           "--scheduler") from error
    with dask_jobqueue.SLURMCluster(cores=1, processes=1, memory=memory) as cluster:
        cluster.scale(processes)
        yield cluster


@contextlib.contextmanager
def connect(scheduler=None, slurm=False, processes=None, memory=None):
    """A client of the cluster, and the bytes that a process of the tool may take there."""
    import dask
    import distributed
    processes = processes or len(os.sched_getaffinity(0))
    memory = memory or _memory_for_each(processes)
    dask.config.set({"distributed.comm.timeouts.connect": "10s",
                     # A batch whose worker died is divided at once, and tried again.
                     "distributed.scheduler.allowed-failures": 0})
    with contextlib.ExitStack() as stack:
        # Of this run alone, so that nothing of a killed one is in the way.
        dask.config.set({"temporary-directory": stack.enter_context(
            tempfile.TemporaryDirectory(prefix="kelvane-"))})
        if scheduler:
            target = scheduler
        elif slurm:
            target = stack.enter_context(_of_slurm(processes, memory))
        else:
            target = stack.enter_context(distributed.LocalCluster(
                n_workers=processes, threads_per_worker=1, memory_limit=memory,
                dashboard_address="127.0.0.1:0", silence_logs=50))
        try:
            client = stack.enter_context(distributed.Client(target, timeout="20s"))
        except OSError as error:
            raise ArchiveError(f"{scheduler}: no scheduler answers: {error}") from error
        yield client, memory
