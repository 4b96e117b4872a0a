"""Cuts the power while the router writes its settings, and checks settings and log after the next boot."""

import json
import re

from machine import Failure, require

QUILLET = "/quillet/update_location"
DEPLOYMENT = "/cirrel/entrypoints/default"
PROTECTION = "/agent/protection_enabled"
MARK = "settings.json.switching"
LOG_LINE = r"^[-0-9]{10} [:.0-9]{12} +[0-9]+ (ERROR|WARN|INFO|DEBUG) +\[[^][]+\]\[[^][]+\]: [^][]+$"

TROUBLE = {"full": "cat /dev/zero >/overlay/fill 2>&-; [ -s /overlay/fill ]",
           "read-only": "echo u >/proc/sysrq-trigger"}


def state_of(step):
    """Returns update location and deployment after a step of guest/root/usr/lib/router/writer.

    Any two steps less than five apart have different states."""
    return ("production", "staging")[(step + 1) // 2 % 2], ("prod", "stage", "dev")[step // 2 % 3]


class PowerCuts:
    def __init__(self, machine, random, account):
        self.machine = machine
        self.random = random
        self.account = account
        self.step = 0

    def run(self, cuts):
        self.machine.format_disk(32)
        self.machine.boot()
        self.look()
        for cut in range(cuts):
            # Of five cuts, the second comes with a full overlay and the fourth with a read-only one, so that a short
            # run has both.
            trouble = (None, "full", None, "read-only", None)[cut % 5]
            self.write_until_cut(trouble)
            self.machine.boot()
            self.look()
            if trouble == "full":
                self.machine.check("rm /overlay/fill")
        self.machine.cut()
        return (f"{self.account.writes} acknowledged writes, "
                f"{self.account.repairs} interrupted deployment changes repaired")

    def write_until_cut(self, trouble):
        """Runs the writer for a random time and cuts the power. Trouble, if any, begins some time before the cut."""
        self.machine.check(f"/usr/lib/router/writer {self.step} &")
        self.write_for(self.random.randrange(1, 12), self.random.uniform(0, 1))
        if trouble:
            self.read_acknowledgements(self.machine.check(TROUBLE[trouble]))
            self.write_for(3, self.random.uniform(0, 1))
        self.read_acknowledgements(self.machine.cut())
        self.account.cuts += 1

    def write_for(self, changes, seconds):
        for _ in range(changes):
            before, found = self.machine.expect(r"@(acknowledged|refused) .*\n")
            self.read_acknowledgements(before + found.group())
        before, _ = self.machine.run(f"usleep {int(seconds * 1e6)}")
        self.read_acknowledgements(before)

    def read_acknowledgements(self, text):
        for step in re.findall(r"@acknowledged (\d+)\n", text):
            self.step = int(step)
            self.account.writes += 1
        self.account.refused += len(re.findall(r"@refused .*\n", text))

    def look(self):
        """Checks the settings that the boot found and what the first runs of the tool made of them."""
        settings = self.settings(self.machine.check("cat /run/found/settings.json"))
        if self.machine.run(f"[ -e /run/found/{MARK} ]")[1] == 0:
            self.account.repairs += 1
            self.check_repair()
        else:
            require(settings[PROTECTION] == "1", f"protection is off, and no interrupted change is marked: {settings}")
        state = settings[QUILLET], settings[DEPLOYMENT]
        steps = [step for step in (self.step, self.step + 1) if state == state_of(step)]
        require(steps, f"{state} is neither {state_of(self.step)} of step {self.step}, the last one acknowledged, "
                       f"nor {state_of(self.step + 1)} of the next")
        self.step = steps[0]
        # The next line that the tool logs replaces a line that the cut has torn.
        self.machine.check("QXLOG_LEVEL=debug qxagent-manage is_enabled")
        torn = self.machine.check("cat /opt/norvane/var/log/qxagent-manage.log* |"
                                  f"grep -vE '{LOG_LINE}' | head -n 5; :")
        require(not torn, f"torn lines are in the log: {torn}")
        # The next write of the settings, or the next change of the deployment, replaces the last three of these files.
        allowed = {f"settings.json{end}" for end in ("", ".lock", ".switch", ".tmp", ".reserve", ".switching.tmp")}
        left = self.machine.check("cd /opt/norvane/etc && ls -d settings.json*").split()
        require(set(left) <= allowed, f"at least one of these files should not be left: {left}")

    def settings(self, text):
        try:
            settings = json.loads(text)
        except ValueError:
            raise Failure(f"the settings are torn: {text!r}") from None
        require(settings.get("/other") == "kept", f"the settings lost a key: {text}")
        return settings

    def check_repair(self):
        """Checks that the listener, the first run of the tool after the boot, has repaired the deployment."""
        settings = self.settings(self.machine.check("cat /opt/norvane/etc/settings.json"))
        require(settings[PROTECTION] == "1", f"protection is not restored: {settings}")
        connector = self.machine.check("cat /run/connector")
        require(connector == "qplix-qxcloudd start\nqxcloudd -start\n", f"the connector was not started: {connector}")
        require("interrupted" in self.machine.check("tail -n 20 /opt/norvane/var/log/qxagent-manage.log"),
                "the log does not mention the repair")
        self.machine.check(f"[ ! -e /opt/norvane/etc/{MARK} ]")
