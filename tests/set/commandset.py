"""A set whose application is a shell: commands run in it as an application's would."""

import shlex

from setlib import Set


class CommandSet(Set):
    def __init__(self, *options, **more):
        super().__init__(*options, app="/bin/dash", **more)

    def run(self, command):
        """Lets the application run a shell command; returns its exit status."""
        before = self.seq()
        self.am(f"sh -c {shlex.quote(command)}")
        return self.wait(since=before, who="shell-end", command=command)["status"]
