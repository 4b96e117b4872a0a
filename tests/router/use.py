"""Uses the router as its owner does: the README's tour, the recipes for scripts, and the tool without root."""

import difflib
import json
import os
import re

from machine import require

PROJECT = os.path.join(os.path.dirname(__file__), "../..")
TOUR = {"events": [{"event": "va_status_changed", "when": "subscribe",
                    "data": {"status": "started", "scan": "network"}}]}
RECIPES = {"state": {"scan_ms": 200},
           "events": [{"event": "device_discovery", "when": "subscribe", "data": {"mac": "02:11:22:33:44:09"}}]}


def read(name):
    with open(os.path.join(PROJECT, name), encoding="utf-8") as file:
        return file.read()


def restart_broker(machine, scenario):
    machine.check(f"""cat >/tmp/scenario.json <<'END'
{json.dumps(scenario)}
END
echo "input=/run/orders options='--scenario /tmp/scenario.json'" >/etc/default/qxbrokerd-sim
/etc/init.d/qxbrokerd-sim restart""")


def compare(name, expected, printed):
    lines = difflib.unified_diff(expected.splitlines(), printed.splitlines(), name, "router", lineterm="")
    difference = "\n".join(lines)
    require(not difference, difference)


def repeat(machine, name, transcript):
    """Runs each command after "$ " and compares its output with the text below it. Returns the number of commands.

    The text is the standard error of the command or, if that is empty, the standard output."""
    count = 0
    for command, expected in re.findall(r"^\$ (.*)\n((?:[^$\n].*\n)*)", transcript, re.M):
        printed, _ = machine.run(f"{{ {command}; }} >/tmp/out 2>/tmp/err\n"
                                 "[ -s /tmp/err ] || cat /tmp/out; cat /tmp/err")
        compare(f"{name}: {command}", expected, printed)
        count += 1
    return count


def repeat_tour(machine):
    restart_broker(machine, TOUR)
    tour = re.search(r"^## A tour\n.*?(?=^## )", read("README.md"), re.M | re.S).group()
    return repeat(machine, "README.md", "".join(re.findall(r"^    (.*\n)", tour, re.M)))


def repeat_recipes(machine):
    """Runs each script of docs/scripting.md and checks that it prints the text in the block after it. Checks that the
    boot script prints nothing and sets the router's name and model. Returns the number of scripts."""
    restart_broker(machine, RECIPES)
    blocks = re.findall(r"^```(\w+)\n(.*?)^```$", read("docs/scripting.md"), re.M | re.S)
    count = 0
    for (language, script), (_, expected) in zip(blocks, blocks[1:] + [("", "")]):
        if language != "sh":
            continue
        is_boot = script.startswith("#!")
        printed = machine.check(f"(\n{script}) >/tmp/out 2>/tmp/err\ncat /tmp/out")
        compare("docs/scripting.md", "" if is_boot else expected, printed)
        count += 1
        if is_boot:
            info = json.loads(machine.check("qxagent-manage get_router_info | cat"))
            require((info["name"], info["model"]) == ("Cellar", "R7"),
                    f"the boot script did not set the name Cellar and the model R7: {info}")
    return count


def use(machine):
    machine.format_disk()
    machine.boot()
    services = machine.check("cat /run/services")
    require(services == "qxbrokerd-sim started\nqx-events started\n",
            f"not both services started: /run/services has {services!r}")
    terminal = machine.check("qxagent-manage is_enabled")
    require(terminal == "services_status: true\n", f"on the console, is_enabled prints no 'key: value': {terminal!r}")
    machine.check("echo 'emit va_status_changed {\"n\": 1}' >/run/orders\n"
                  "until grep -q '\"n\": 1' /var/log/qx-events.jsonl; do usleep 50000; done")
    tour = repeat_tour(machine)
    recipes = repeat_recipes(machine)
    sessions = sum(repeat(machine, name, read(f"tests/router/sessions/{name}"))
                   for name in ("without_root.txt", "read_only.txt"))
    machine.cut()
    return f"{tour} commands of the tour, {recipes} recipes and {sessions} other commands print what they should"
