# SPDX-License-Identifier: Apache-2.0
"""One end of a conversation in datagrams.

lan_peer.py receive PORT       prints "ready", then the first datagram: "FROM: TEXT"
lan_peer.py send HOST PORT TEXT
"""
import socket
import sys


def receive(port):
    peer = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    peer.bind(("", int(port)))
    print("ready", flush=True)
    text, sender = peer.recvfrom(2000)
    print(f"{sender[0]}: {text.decode()}", flush=True)


def send(host, port, text):
    peer = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    peer.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
    peer.sendto(text.encode(), (host, int(port)))


{"receive": receive, "send": send}[sys.argv[1]](*sys.argv[2:])
