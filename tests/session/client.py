"""Bare connections to the broker. Scripts import this module. As a program it executes orders on standard input:
    ask NAME [DATA]   sends a command on a new connection and prints the answer
    send LINE         sends a line on a new connection and prints the answer
    subscribe EVENT   subscribes on one permanent connection and prints the answer
    event             prints the next event
"""
import functools
import os
import select
import socket
import sys

MIB = 1 << 20
BYTE_ORDER = os.environ.get('BYTE_ORDER', sys.byteorder)  # of the broker's processor: 'little' or 'big'


def command(name, data='null'):
    return f'{{"type": "command", "name": "{name}", "data": {data}}}\n'.encode()


class Client(socket.socket):
    def __init__(self):
        super().__init__(socket.AF_UNIX)
        self.connect('\0:qxbrokerd-1.3.skt')
        self.settimeout(30)  # Set after connect(), which with a timeout fails at once while the backlog is full.

    def read(self, count):
        """Returns the next count bytes, or fewer if the broker closes the connection."""
        data = bytearray()
        while len(data) < count:
            try:
                got = self.recv(min(count - len(data), MIB))
            except ConnectionResetError:
                break
            if not got:
                break
            data += got
        return bytes(data)

    def frame(self):
        """Returns the text of the next frame, or an empty one if the connection ends."""
        return self.read(int.from_bytes(self.read(4), BYTE_ORDER)).decode()

    def has_input(self):
        """Returns whether bytes or the end of the stream can be read now."""
        return bool(select.select([self], [], [], 0)[0])

    def ask(self, line):
        self.sendall(line)
        return self.frame()

    def subscribe(self, event):
        return self.ask(f'{{"type": "subscribe", "name": "{event}"}}\n'.encode())


def resident_kib(pid):
    with open(f'/proc/{pid}/statm') as statm:
        return int(statm.read().split()[1]) * os.sysconf('SC_PAGE_SIZE') // 1024


def ask(name, data='null'):
    return Client().ask(command(name, data))


def answer(name, count):
    """Returns the first count bytes of the answer to a command, or fewer if the broker closes the connection."""
    client = Client()
    client.sendall(command(name))
    return client.read(count)


@functools.cache
def subscriber():
    return Client()


def follow(order, rest):
    if order == 'ask':
        return ask(*rest.split(' ', 1))
    if order == 'send':
        return Client().ask(rest.encode(errors='surrogateescape') + b'\n')
    return subscriber().subscribe(rest) if order == 'subscribe' else subscriber().frame()


if __name__ == '__main__':
    for line in open(0, errors='surrogateescape'):
        print(follow(*line.rstrip('\n').partition(' ')[::2]), flush=True)
