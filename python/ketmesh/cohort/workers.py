# SPDX-License-Identifier: BSD-3-Clause
"""Who runs the cases: this process, worker processes of this machine, or a cluster."""

from __future__ import annotations

import contextlib
import itertools
import logging
import os
import sys
import tempfile
import threading
import time
import uuid
from collections.abc import Callable, Iterator

from .case import Stopped, record_lost, run_case
from .faults import Fault

IN_FLIGHT = 3  # futures for each thread of a worker: enough that none waits, however many cases there are
BATCH_SECONDS, LARGEST_BATCH = 0.3, 16  # cases that are over at once share a future
REFRESH_SECONDS = 5.0  # after which the number of workers is asked for again
CONNECT_SECONDS = 20.0

Finished = Callable[[dict], None]  # with id, status and error of a case

# A local cluster is there for one run and holds no data: it needs neither logs nor profiles nor limits of memory.
# Its workers live as long as the driver wants them: signals of the terminal and of batch systems are for the driver.
PRELOAD = """import os, signal
os.setpgid(0, 0)
for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
    signal.signal(number, lambda *_: None)
"""
LOCAL_CONFIG = {
    "distributed.scheduler.allowed-failures": 20,
    "distributed.scheduler.transition-log-length": 1000,
    "distributed.scheduler.events-log-length": 1000,
    "distributed.scheduler.worker-saturation": 1.0,
    "distributed.worker.profile.enabled": False,
    "distributed.worker.preload": [PRELOAD],
    "distributed.nanny.environ": {},
    "distributed.nanny.pre-spawn-environ": {"DASK_LOGGING__DISTRIBUTED": "critical"},
    "distributed.comm.retry.count": 3,
}


def run_here(tasks: Iterator[dict], finished: Finished) -> None:
    """One case after the other, without dask."""
    for task in tasks:
        finished(_answer(task, threading.Event()))


def run_on_this_machine(tasks: Iterator[dict], workers: int, finished: Finished) -> None:
    """On processes of this machine. The workers share its cores; steps see those of their worker only."""
    dask, distributed = _import_dask()
    cores = sorted(os.sched_getaffinity(0))
    shares = [cores[i::workers] or [cores[i % len(cores)]] for i in range(workers)]
    with tempfile.TemporaryDirectory(prefix="ketmesh-cohort-") as scratch, dask.config.set(LOCAL_CONFIG):
        with distributed.LocalCluster(
                n_workers=workers, threads_per_worker=1, processes=True, memory_limit=0, dashboard_address=":0",
                local_directory=scratch, silence_logs=logging.CRITICAL, host="127.0.0.1") as cluster:
            with distributed.Client(cluster, set_as_default=False) as client:
                _run(client, ({**task, "shares": shares} for task in tasks), finished)


def run_on_cluster(tasks: Iterator[dict], address: str, finished: Finished) -> None:
    """On the workers of a dask scheduler, which see the same files. Throws Fault when it cannot be reached."""
    _, distributed = _import_dask()
    try:
        client = distributed.Client(address, timeout=CONNECT_SECONDS, set_as_default=False)
    except (OSError, ValueError, TypeError) as error:
        raise Fault(f"no scheduler answers at {address}: {error}") from None
    with client:
        _run(client, tasks, finished)


def _import_dask():
    try:
        import dask
        import distributed
    except ModuleNotFoundError:
        raise Fault("dask.distributed is missing: install python3-distributed, or run with --workers 0") from None
    logging.disable()  # what matters is told in one line
    return dask, distributed


def _answer(task: dict, stop: threading.Event) -> dict:
    """Runs a case, and gives id, status, error and seconds. Throws Stopped."""
    start = time.monotonic()
    try:
        result = run_case(task, stop)
    except OSError as error:
        result = {"id": task["id"], "status": "failed", "error": str(error)}
    return {**result, "seconds": time.monotonic() - start}


def _stop_of(worker, run: str) -> threading.Event:
    """What cancels the cases of a run on a worker."""
    return worker.__dict__.setdefault("ketmesh_stops", {}).setdefault(run, threading.Event())


def _remote_functions():
    """What workers call: run a case, and cancel a run.

    Being functions in a function, and with the package registered, they travel with all their code: workers need
    nothing of this package, and never run another version of it.
    """
    def run_batch(run: str, tasks: list[dict]) -> list[dict]:
        from distributed import get_worker

        worker, results = get_worker(), []
        end = time.monotonic() + 3 * BATCH_SECONDS
        for task in tasks:
            if results and time.monotonic() > end:
                break  # slow cases have come: the rest goes up again, to whichever worker is free
            if shares := task.get("shares"):
                task = {**task, "cores": shares[worker.name]}
            with contextlib.suppress(Stopped):
                results.append(_answer(task, _stop_of(worker, run)))
        return results

    def cancel(run: str, dask_worker=None) -> None:
        _stop_of(dask_worker, run).set()

    return run_batch, cancel


class _Flight:
    """The futures that are under way: a few for each worker, each a batch of cases if those are quick."""

    def __init__(self, client):
        from distributed import as_completed

        self._client, self._run = client, uuid.uuid4().hex[:12]
        self._completed = as_completed(with_results=True, raise_errors=False, loop=client.loop)
        self._run_batch, self._cancel = _remote_functions()
        self._batches: dict[str, list[dict]] = {}  # by key
        self._futures: dict = {}
        self._started = self._threads = 0
        self._asked = -REFRESH_SECONDS
        self._rate = 0.0  # cases a second of one thread of late

    def has_room(self) -> bool:
        now = time.monotonic()
        if now - self._asked > REFRESH_SECONDS:
            self._asked = now
            self._threads = max(1, sum(self._client.nthreads().values()))
        return len(self._futures) < IN_FLIGHT * self._threads

    def batch_size(self) -> int:
        return min(max(1, int(self._rate * BATCH_SECONDS)), LARGEST_BATCH)

    def start(self, tasks: list[dict]) -> None:
        self._started += 1
        key = f"cases-{self._started}-{self._run}"
        future = self._client.submit(self._run_batch, self._run, tasks, key=key, pure=False)
        self._batches[key] = tasks
        self._futures[key] = future
        self._completed.add(future)

    def is_empty(self) -> bool:
        return not self._futures

    def next(self) -> tuple[list[dict], object]:
        """Waits for a batch: its tasks, and their results or an exception."""
        future, result = next(self._completed)
        tasks = self._batches.pop(future.key)
        del self._futures[future.key]
        if future.status == "error":
            result = result[1] if isinstance(result, tuple) else result
        elif isinstance(result, list) and result:
            self._rate = len(result) / max(1e-3, sum(each["seconds"] for each in result))
        return tasks, result

    def cancel(self) -> None:
        """Lets nothing start any more and ends the steps that run."""
        self._client.cancel(list(self._futures.values()), force=True)
        self._client.run(self._cancel, self._run, on_error="ignore")
        deadline = time.monotonic() + 5
        while time.monotonic() < deadline and any(self._running()):
            time.sleep(0.1)

    def _running(self) -> list[str]:
        return [key for keys in self._client.processing().values() for key in keys if key in self._futures]


def _run(client, tasks: Iterator[dict], finished: Finished) -> None:
    import cloudpickle

    cloudpickle.register_pickle_by_value(sys.modules[__package__])
    flight = _Flight(client)
    more = True
    try:
        while more or not flight.is_empty():
            while more and flight.has_room():
                batch = list(itertools.islice(tasks, flight.batch_size()))
                more = bool(batch)
                if more:
                    flight.start(batch)
            if not flight.is_empty():
                _land(client, flight, finished)
    except KeyboardInterrupt:
        flight.cancel()
        raise


def _land(client, flight: _Flight, finished: Finished) -> None:
    """Takes what the next batch gives, which may be less than the batch. The scheduler gives up a batch under which worker
    after worker has died: then each of its cases goes up again for itself, and a single one is recorded as lost."""
    from distributed.scheduler import KilledWorker

    tasks, result = flight.next()
    if isinstance(result, list):
        for each in result:
            finished(each)
        for task in tasks[len(result):]:
            flight.start([task])
    elif not isinstance(result, KilledWorker):
        raise Fault(_gone(client, result))
    elif len(tasks) > 1:
        for task in tasks:
            flight.start([task])
    else:
        finished(record_lost(tasks[0], "the workers that ran it died"))


def _gone(client, error: object) -> str:
    what = "the scheduler went away" if client.status != "running" else f"a worker failed: {error!r}"
    return f"{what}; the same command goes on where this one ended"
