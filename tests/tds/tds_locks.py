"""Locks by name, as sp_getapplock gives them to a session: one holder, or several that share."""
import re
import threading
import time

# What this project's driver sends to take one, and to give it back.
TAKE = re.compile(
    r"declare (@\w+) int exec \1=sp_getapplock @Resource='(?P<name>[^']{1,255})',@LockMode='(?P<mode>Exclusive|Shared)',"
    r"@LockOwner='Session',@LockTimeout=(?P<wait>\d+) if \1<0 raiserror\('(?P<error>[^']*)',16,1\)")
GIVE_BACK = re.compile(r"exec sp_releaseapplock @Resource='(?P<name>[^']{1,255})',@LockOwner='Session'")


class Locks:
    def __init__(self):
        self.changed = threading.Condition()
        self.held = {}  # by database and name: [session, mode] of each time that it was taken

    def take(self, key, session, mode, wait_ms):
        deadline = time.monotonic() + wait_ms / 1000
        with self.changed:
            while any(other is not session and "Exclusive" in (mode, held) for other, held in self.held.get(key, [])):
                left = deadline - time.monotonic()
                if left <= 0:
                    return False
                self.changed.wait(left)
            self.held.setdefault(key, []).append((session, mode))
            return True

    def give_back(self, key, session):
        with self.changed:
            mine = [each for each in self.held.get(key, []) if each[0] is session]
            if mine:
                self.held[key].remove(mine[-1])
            self.changed.notify_all()
            return bool(mine)

    def drop(self, session):
        """A session has ended."""
        with self.changed:
            for key in self.held:
                self.held[key] = [each for each in self.held[key] if each[0] is not session]
            self.changed.notify_all()


LOCKS = Locks()
