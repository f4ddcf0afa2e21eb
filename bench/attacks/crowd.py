"""Crowds of connections that send and do not read."""

import select
import time

from attacks.wire import connect


class Member:
    """A connection of a crowd, which sends the pieces of a script."""

    def __init__(self, client, script):
        self.client, self.script, self.pending = client, script, memoryview(b"")
        self.exhausted = False

    def advance(self):
        """Sends what the kernel takes of one piece. @return bytes sent"""
        if not self.pending:
            piece = next(self.script, None)
            if piece is None:
                self.exhausted = True
                return 0
            self.pending = memoryview(piece)
        try:
            sent = self.client.send(self.pending[:1 << 16])
        except BlockingIOError:
            return 0
        self.pending = self.pending[sent:]
        return sent


class Crowd:
    """Connections that send as fast as the host takes it, read nothing, and come back once closed."""

    ADMITTED_AT_ONCE = 20
    RETURNS_PER_SECOND = 200

    def __init__(self, target, count, script, enter=None, pace=0.0):
        """script: makes the pieces of one connection; when they end the connection is held open.
        enter: makes a connection, by default a plain one. pace: seconds between pieces, 0 = none."""
        self.target, self.count, self.script, self.pace = target, count, script, pace
        self.enter = enter or (lambda: connect(target.port))
        self.poller, self.members = select.poll(), {}

    def run(self):
        admissions, next_round = float(self.count), 0.0
        last = time.monotonic()
        while (now := time.monotonic()) < self.target.until:
            admissions = min(admissions + (now - last) * self.RETURNS_PER_SECOND, float(self.count))
            last = now
            missing = min(self.count - len(self.members), int(admissions), self.ADMITTED_AT_ONCE)
            for _ in range(missing):
                admissions -= 1
                if not self.admit():
                    break
            for descriptor, event in self.poller.poll(0 if missing > 0 else 20):
                self.on_event(self.members[descriptor], event)
            if self.pace and now >= next_round:
                next_round = now + self.pace
                for member in list(self.members.values()):
                    self.advance(member)
        for member in self.members.values():
            member.client.close()

    def admit(self):
        try:
            client = self.enter()
        except OSError:
            time.sleep(0.01)
            return False
        client.setblocking(False)
        self.target.tally.count()
        self.members[client.fileno()] = Member(client, self.script())
        # Of a paced member and of one that has said it all, only the end is of interest.
        self.poller.register(client, select.POLLRDHUP | (0 if self.pace else select.POLLOUT))
        return True

    def on_event(self, member, event):
        """The host's end of sending does not stop one who has more to say."""
        over = event & (select.POLLERR | select.POLLHUP | select.POLLNVAL)
        if over or (event & select.POLLRDHUP and (member.exhausted or self.pace)):
            self.drop(member)
        elif event & select.POLLOUT:
            self.advance(member)

    def advance(self, member):
        try:
            self.target.tally.count(0, member.advance())
        except OSError:
            self.drop(member)
            return
        if member.exhausted:
            self.poller.modify(member.client, select.POLLRDHUP)

    def drop(self, member):
        descriptor = member.client.fileno()
        if self.members.pop(descriptor, None) is not None:
            self.poller.unregister(descriptor)
            member.client.close()
