"""The emulated router, whose serial console runs scripts."""

import os
import re
import select
import subprocess
import time


class Failure(Exception):
    """The router did something that it must not do."""


def require(condition, text):
    if not condition:
        raise Failure(text)


class Machine:
    boots = 0

    def __init__(self, folder, memory=128, options=()):
        self.folder = folder
        self.disk = os.path.join(folder, "overlay.img")
        self.memory = memory
        self.options = options
        self.process = None
        self.output = ""

    def format_disk(self, mebibytes=64):
        """Makes an empty partition for the files that the router writes."""
        with open(self.disk, "wb") as file:
            file.truncate(mebibytes << 20)
        subprocess.run(["mkfs.ext4", "-q", "-F", self.disk], check=True)

    def boot(self):
        """Starts the machine. Returns when the services have started and the console accepts scripts."""
        path = lambda name: os.path.join(self.folder, name)
        self.output = ""
        # Without a network card no option ROM is needed. Data that the router has flushed is in the image file and
        # survives the machine; data in the router's page cache is lost.
        self.process = subprocess.Popen(
            ["setpriv", "--pdeathsig", "KILL", "qemu-system-aarch64", "-machine", "virt", "-cpu", "cortex-a53",
             "-m", str(self.memory), "-nic", "none",
             "-display", "none", "-monitor", "none", "-serial", "stdio", "-rtc", "base=1970-01-01",
             "-kernel", path("kernel"), "-initrd", path("initramfs"),
             "-append", "console=ttyAMA0 quiet cma=0 panic=-1", "-no-reboot",
             "-drive", f"if=none,id=root,format=raw,readonly=on,file={path('root.squashfs')}",
             "-drive", f"if=none,id=overlay,format=raw,cache=writeback,file={self.disk}",
             # The kernel names the disks by address, and the last device gets the lowest address: root is /dev/vda.
             "-device", "virtio-blk-device,drive=overlay", "-device", "virtio-blk-device,drive=root",
             *self.options],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
        Machine.boots += 1
        self.expect(r"@ready\n", 300)

    def cut(self):
        """Cuts the power. Returns the output of the console that was not read yet."""
        if self.process is None:
            return ""
        self.process.kill()
        rest, _ = self.process.communicate()
        self.process = None
        return self.output + rest.decode(errors="replace")

    def read(self, seconds):
        """Waits up to that many seconds for output of the console and appends it to self.output."""
        stream = self.process.stdout
        if not select.select([stream], [], [], max(0, seconds))[0]:
            return
        data = os.read(stream.fileno(), 65536)
        self.output += data.decode(errors="replace")
        if not data or "Kernel panic" in self.output:
            raise Failure(f"the machine ended: {self.output[-2000:]}")

    def expect(self, pattern, seconds=120):
        """Waits for the pattern. Returns the text before the match and the match; keeps the text after it."""
        deadline = time.monotonic() + seconds
        while not (found := re.search(pattern, self.output)):
            if time.monotonic() > deadline:
                raise Failure(f"the console never showed '{pattern}', but: {self.output[-2000:]}")
            self.read(deadline - time.monotonic())
        before = self.output[:found.start()]
        self.output = self.output[found.end():]
        return before, found

    def run(self, script, seconds=120):
        """Runs a shell script on the router. Returns its output, without kernel messages, and its exit status."""
        self.process.stdin.write(f"{script}\n@run\n".encode())
        self.process.stdin.flush()
        before, found = self.expect(r"@status (\d+)\n", seconds)
        return re.sub(r"^\[ *\d+\.\d{6}\] .*\n", "", before, flags=re.M), int(found.group(1))

    def check(self, script, seconds=120):
        """Runs a script that must succeed, and returns its output."""
        output, status = self.run(script, seconds)
        if status != 0:
            raise Failure(f"status {status} of: {script}\n{output}")
        return output
