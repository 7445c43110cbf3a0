"""Workers of a Dask cluster that runs already.

Its workers need this package, and the folders of the jobs under the same paths as here. One thread for each worker is
best, since the library holds the interpreter's lock during a call.
"""

from __future__ import annotations

import asyncio
import concurrent.futures
from typing import Any

from zelmor.batch.errors import ClusterError, ClusterLost
from zelmor.batch.workers import Reply


_CANCELLED = (asyncio.CancelledError, concurrent.futures.CancelledError)


class ClusterWorkers:
    """The workers of the cluster with this address, such as `tcp://scheduler:8786`.

    How long it tries to reach a scheduler is Dask's own setting, `distributed.comm.timeouts.connect`, 30 seconds.
    """

    #: Requests for each thread of the cluster: one that is being done, and one that need not be waited for.
    _AHEAD = 2

    def __init__(self, address: str) -> None:
        try:
            import distributed as module
        except ImportError as error:
            raise ClusterError("work on a cluster needs the package python3-distributed") from error
        distributed: Any = module  # it has no type information
        self._distributed = distributed
        self._address = address
        try:
            self._client: Any = distributed.Client(address, set_as_default=False)
        except (OSError, ValueError, asyncio.TimeoutError) as error:
            raise ClusterError(f"there is no cluster at {address}: {error}") from error
        threads = sum(self._client.nthreads().values())
        if threads == 0:
            self._client.close()
            raise ClusterError(f"the cluster at {address} has no workers")
        self._threads = threads
        self._finished: Any = distributed.as_completed([], loop=self._client.loop)
        self._tickets: dict[Any, int] = {}
        #: Whether the scheduler is lost, which cancels all futures.
        self._gone = False

    @property
    def capacity(self) -> int:
        """Enough to keep all workers busy."""
        return self._threads * self._AHEAD

    def submit(self, ticket: int, request: str) -> None:
        """Sends the request to the scheduler, which finds a worker for it."""
        if self._gone:
            return  # `wait` says so
        future = self._client.submit(_answer, request, pure=False)
        self._tickets[future] = ticket
        self._finished.add(future)

    def wait(self) -> list[Reply]:
        """Waits for answers. Of a lost worker the scheduler tells only when it has lost several for one request.

        ClusterLost if the scheduler is lost; the answers that came before are given out first.
        """
        while not self._gone:
            replies = []
            for future in self._finished.next_batch(block=True):
                try:
                    replies += self._replies(future)
                except _CANCELLED:
                    self._gone = True
            if replies:
                return replies
        raise ClusterLost(f"the connection to the cluster at {self._address} is lost")

    def _replies(self, future: Any) -> list[Reply]:
        """The answer of a future; none if it is still to come, because its worker was lost with the answer."""
        if future.status in ("lost", "pending"):
            self._finished.add(future)  # the scheduler has given the request to another worker
            return []
        ticket = self._tickets[future]
        try:
            reply = Reply(ticket, future.result())
        except _CANCELLED:
            raise
        except self._distributed.scheduler.KilledWorker:
            reply = Reply(ticket, lost="the cluster lost several workers with it", final=True)
        except Exception as error:
            reply = Reply(ticket, lost=f"a worker of the cluster failed: {type(error).__name__}: {error}")
        del self._tickets[future]
        return [reply]

    def close(self) -> None:
        """Cancels what is left, and leaves the cluster alone."""
        if self._client.status == "running" and self._tickets:
            self._client.cancel(list(self._tickets), force=True)
        self._tickets.clear()
        self._client.close()


def _answer(request: str) -> str:
    """What a worker of the cluster runs; it imports the library when it is first asked."""
    from zelmor.batch.perform import answer

    return answer(request)
