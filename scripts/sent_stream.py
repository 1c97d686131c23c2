"""A stream that is sent over a network: what is in it, and when."""

import collections
import pathlib
import socket
import time

PACKET = 188


def _pid(packet):
    return (packet[1] & 0x1F) << 8 | packet[2]


class SentStream:
    """Packets of 188 bytes, at the bit rate that their clock says."""

    def __init__(self, file):
        stream = pathlib.Path(file).read_bytes()
        self.packets = [stream[at:at + PACKET] for at in range(0, len(stream), PACKET)]
        self.of_pids = collections.Counter(f"0x{_pid(p):04X}" for p in self.packets)
        (first, begin), *_, (last, end) = self._clock_references()
        self.seconds_of_packet = (end - begin) / (last - first)
        self.seconds = len(self.packets) * self.seconds_of_packet
        self.began = None

    def _clock_references(self):
        """(number, seconds) of the PCRs on the PID of the first."""
        found = [(number, _pid(p), (int.from_bytes(p[6:11], "big") >> 7) / 90_000)
                 for number, p in enumerate(self.packets) if p[3] & 0x20 and p[4] > 0 and p[5] & 0x10]
        return [(number, seconds) for number, pid, seconds in found if pid == found[0][1]]

    def play(self, port):
        """To a port of this machine, once: each packet at its time, and one more that shows where the last one
        ends."""
        null_packet = bytes([0x47, 0x1F, 0xFF, 0x10]) + bytes(PACKET - 4)
        self.began = time.time()
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as to:
            for number, packet in enumerate([*self.packets, null_packet]):
                time.sleep(max(0, self.began + number * self.seconds_of_packet - time.time()))
                to.sendto(packet, ("127.0.0.1", port))

    def clock_offset(self):
        """How far its last TOT, which is of Brasília, was ahead of this machine's clock when it was sent."""
        number, tot = [(n, p) for n, p in enumerate(self.packets) if _pid(p) == 0x0014 and p[5] == 0x73][-1]
        days = int.from_bytes(tot[8:10], "big") - 40_587  # from a Modified Julian Date to those since 1970
        hours, minutes, seconds = (int(f"{bcd:02x}") for bcd in tot[10:13])
        told = days * 86_400 + (hours + 3) * 3_600 + minutes * 60 + seconds
        return told - (self.began + number * self.seconds_of_packet)
