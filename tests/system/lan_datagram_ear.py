# SPDX-License-Identifier: Apache-2.0
"""lan_datagram_ear.py PORT: prints "ready", then the first datagram that comes, as "SENDER DIGITS"."""
import socket
import sys

with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as ear:
    ear.settimeout(60)
    ear.bind(("", int(sys.argv[1])))
    print("ready", flush=True)
    datagram, sender = ear.recvfrom(2000)
    print(sender[0], datagram.hex(), flush=True)
