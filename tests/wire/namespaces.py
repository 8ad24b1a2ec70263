"""Network namespaces with links between them, made for one test and gone after it."""

import contextlib
import ctypes
import os
import socket
import subprocess
import sys
import uuid

CLONE_NEWNET = 0x40000000

_libc = ctypes.CDLL(None, use_errno=True)


class NotPermitted(Exception):
    pass


def _ip(*arguments):
    done = subprocess.run(["ip", *arguments], capture_output=True, text=True, timeout=30)
    if done.returncode:
        raise OSError(f"ip {' '.join(arguments)}: {done.stderr.strip()}")


class Namespace:
    """A network namespace of its own name, with its loopback up."""

    def __init__(self):
        self.name = f"wire-{uuid.uuid4().hex[:12]}"
        try:
            _ip("netns", "add", self.name)
            self.ip("link", "set", "lo", "up")
        except OSError as error:
            self.delete()
            raise NotPermitted(f"no network namespace can be made and entered here: {error}") from error

    def ip(self, *arguments):
        _ip("-n", self.name, *arguments)

    def delete(self):
        with contextlib.suppress(OSError):
            _ip("netns", "delete", self.name)

    @property
    def prefix(self):
        """What a command line begins with to run in here."""
        return ("ip", "netns", "exec", self.name)

    def link(self, interface, address, peer, peer_interface, peer_address):
        """Connects an interface of this namespace with one of another."""
        self.ip("link", "add", interface, "type", "veth", "peer", "name", peer_interface, "netns", peer.name)
        for namespace, name, own in ((self, interface, address), (peer, peer_interface, peer_address)):
            namespace.ip("address", "add", f"{own}/24", "dev", name)
            namespace.ip("link", "set", name, "up")

    @contextlib.contextmanager
    def entered(self):
        """Moves the calling thread in here; sockets opened meanwhile stay."""
        home = os.open("/proc/thread-self/ns/net", os.O_RDONLY)
        here = os.open(f"/run/netns/{self.name}", os.O_RDONLY)
        try:
            _enter(here)
            yield
        finally:
            _enter(home)
            os.close(home)
            os.close(here)

    def bound_udp_sockets(self):
        """The local (address, port) pairs of the UDP sockets in here."""
        done = subprocess.run([*self.prefix, "cat", "/proc/net/udp"], capture_output=True, text=True, timeout=30,
                              check=True)
        return {_local(line.split()[1]) for line in done.stdout.splitlines()[1:]}


def _local(field):
    address, port = field.split(":")
    octets = int(address, 16).to_bytes(4, sys.byteorder)  # printed as if it were a number of this machine
    return socket.inet_ntoa(octets), int(port, 16)


def _enter(descriptor):
    if _libc.setns(descriptor, CLONE_NEWNET):
        raise OSError(ctypes.get_errno(), "setns")
