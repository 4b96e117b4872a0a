"""run.py FOLDER [CUTS] [SEED]: tests the emulated router with the images that images.sh has put into FOLDER.

CUTS is the number of power cuts, and SEED chooses when they come. QX_ROUTER_PARTS lists the parts to run, by default
all. QX_ROUTER_SECONDS is the duration of the load in the part "week", by default 30 seconds."""

import os
import random
import sys
import time
from dataclasses import dataclass

from clock import move_clock
from cost import measure
from little_memory import flood
from machine import Failure, Machine
from power_cuts import PowerCuts
from use import use
from week import live


@dataclass
class Account:
    cuts: int = 0
    writes: int = 0
    refused: int = 0
    repairs: int = 0
    faults: int = 0

    def __str__(self):
        return (f"{Machine.boots} boots, {self.cuts} power cuts, {self.writes} acknowledged writes, "
                f"{self.refused} refused ones, {self.repairs} interrupted deployment changes repaired, "
                f"faults: {self.faults}")


def main():
    folder = sys.argv[1]
    cuts = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    seed = int(sys.argv[3]) if len(sys.argv) > 3 else random.randrange(1 << 32)
    seconds = int(os.environ.get("QX_ROUTER_SECONDS", "30"))
    account = Account()
    router = Machine(folder)
    small_router = Machine(folder, memory=64)
    # The clock advances by 1 ns per instruction. While the processor is idle, the clock jumps to the next timer.
    counting_router = Machine(folder, options=["-icount", "shift=0,sleep=off"])
    parts = {
        "use": ("the router in use", lambda: use(router)),
        "cuts": (f"{cuts} power cuts, seed {seed}", lambda: PowerCuts(router, random.Random(seed), account).run(cuts)),
        "memory": ("little memory", lambda: flood(small_router)),
        "clock": ("jumps of the clock", lambda: move_clock(router)),
        "week": ("a week in minutes", lambda: live(router, seconds)),
        "cost": ("cost compared with a minimal program", lambda: measure(router, counting_router)),
    }
    begin = time.monotonic()
    for name in os.environ.get("QX_ROUTER_PARTS", " ".join(parts)).split():
        title, run = parts[name]
        print(f"== {title}", flush=True)
        try:
            print(run(), flush=True)
        except Failure as failure:
            account.faults += 1
            print(f"router: {title}: {failure}", file=sys.stderr, flush=True)
        finally:
            for machine in router, small_router, counting_router:
                machine.cut()
    print(f"{account}, {time.monotonic() - begin:.0f} s")
    return 1 if account.faults else 0


sys.exit(main())
