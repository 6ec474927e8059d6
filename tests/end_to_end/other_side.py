"""The far end of a link: a name server that knows one address, a mail server and a web server there, each at its
usual port. Writes a line for whatever it takes.

Usage: other_side.py NAME_SERVER SERVER     the addresses
"""
import asyncio
import ipaddress
import struct
import sys

from aiosmtpd.smtp import SMTP

HEADER = struct.Struct(">HHHHHH")
ANSWERED = 0x8180  # a reply, by recursion
ADDRESS = 1        # the type of record, and the Internet's class
TO_THE_QUESTION = 0xC00C
TIME_TO_LIVE = 60


def tell(line):
    print(line, flush=True)


class NameServer(asyncio.DatagramProtocol):
    def __init__(self, address):
        self.address = ipaddress.ip_address(address).packed

    def connection_made(self, transport):
        self.transport = transport

    def datagram_received(self, query, sender):
        number = HEADER.unpack_from(query)[0]
        end = query.index(0, HEADER.size) + 5
        question = query[HEADER.size:end]
        kind = struct.unpack_from(">H", question, len(question) - 4)[0]
        answer = struct.pack(">HHHIH", TO_THE_QUESTION, ADDRESS, ADDRESS, TIME_TO_LIVE, 4) + self.address
        known = kind == ADDRESS
        self.transport.sendto(HEADER.pack(number, ANSWERED, 1, int(known), 0, 0) + question
                              + (answer if known else b""), sender)


class TakeMail:
    async def handle_DATA(self, server, session, envelope):
        tell(f"mail to {envelope.rcpt_tos[0]}")
        return "250 2.0.0 taken"


async def take_post(reader, writer):
    head = await reader.readuntil(b"\r\n\r\n")
    length = next(int(line.split(b":")[1]) for line in head.splitlines() if line.lower().startswith(b"content-length"))
    await reader.readexactly(length)
    tell(f"post of {head.split()[1].decode()}")
    writer.write(b"HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n")
    await writer.drain()
    writer.close()


async def main(name_server, server):
    loop = asyncio.get_running_loop()
    await loop.create_datagram_endpoint(lambda: NameServer(server), (name_server, 53))
    await loop.create_server(lambda: SMTP(TakeMail(), hostname="other-side"), server, 25)
    await asyncio.start_server(take_post, server, 80)
    tell("ready")
    await asyncio.Event().wait()


asyncio.run(main(*sys.argv[1:]))
