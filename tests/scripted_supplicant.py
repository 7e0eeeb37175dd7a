"""A supplicant that answers as its arguments say, for sessions that no honest one would cause.

  scripted_supplicant.py SOCKET [WORD=>ANSWER|ANSWER...]...

Each command with WORD in it gets these answers, other commands OK; escapes are Python's. As an
answer, `chatter` sends messages without end, `full` fills the command queue and stops reading, and
nothing is no answer at all.
"""
import socket
import sys
import time

served = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
served.bind(sys.argv[1])
rules = [rule.split("=>") for rule in sys.argv[2:]]


def answer(text, peer):
    if text == "full":
        other = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        other.setblocking(False)
        while True:
            try:
                other.sendto(b"PING", sys.argv[1])
            except BlockingIOError:
                time.sleep(1)
    while text == "chatter":
        served.sendto(b"<3>CTRL-EVENT-SCAN-STARTED", peer)
        time.sleep(0.1)
    if text:
        served.sendto(text.encode().decode("unicode_escape").encode("latin1") + b"\n", peer)


while True:
    command, sender = served.recvfrom(8192)
    told = [answers for word, answers in rules if word in command.decode()] or ["OK"]
    for one in told[0].split("|"):
        try:
            answer(one, sender)
        except OSError:  # it has gone
            pass
