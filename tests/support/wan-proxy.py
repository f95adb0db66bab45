#!/usr/bin/python3
# A copy of the project's shared/tools/wan-proxy.py, so that the tests carry what they run.
"""An FTP proxy that puts a wide-area link between a client and a local server.

Usage: wan-proxy.py LISTEN_PORT SERVER_PORT [--rtt MS] [--rate MBIT] [--host 127.0.0.1]
                    [--reset-data-every N] [--drop-control-every N] [--plain]

Every byte, in both directions, on the control connection and on every passive data connection,
reaches the other side RTT/2 later, and each direction of each connection is held to RATE megabits
per second (0: no cap). Passive replies (227 and 229) are rewritten so that data connections also
pass through the proxy: a client that connects to the control connection's address with the port
of the reply (as it should) lands on a proxied port. Active mode (PORT/EPRT) is not proxied: use
passive. The control connection's handshake costs one RTT, as on a real link; a data connection's
handshake is not charged (every client pays it alike, once per file).

--plain passes every connection's bytes unread (no reply is rewritten): a delaying TCP proxy for any
protocol, SSH included.

Faults, as a real link and real servers make them: --reset-data-every N resets (RST) every Nth data
connection after it has carried half of its first 64 KiB from the server, or at once when the client
sends; --drop-control-every N closes every Nth control connection's both sides instead of passing the
Nth client command of the proxy's life (the command is lost, as when a router dropped an idle
connection or the server timed the session out).

Loopback machines without a netem qdisc use this to measure what a user on a real link would see:
the per-file round trips of a tree transfer, and what parallel connections win back.
"""
import argparse
import asyncio
import itertools
import re
import socket
import struct
import time

RESET = object()  # in a pipe: the far side gets a reset here
PASV = re.compile(rb"^227 .*?(\d+),(\d+),(\d+),(\d+),(\d+),(\d+)")
EPSV = re.compile(rb"^229 .*?\(\|\|\|(\d+)\|\)")


class Pipe:
    """One direction of one connection: delays each chunk by the one-way time and paces it."""

    def __init__(self, delay, rate):
        self.delay, self.rate = delay, rate
        self.queue = asyncio.Queue()
        self.free_at = 0.0  # when the paced link is free for the next byte

    def put(self, data):
        self.queue.put_nowait((time.monotonic() + self.delay, data))

    def close(self):
        self.queue.put_nowait((time.monotonic() + self.delay, None))

    def reset(self):
        self.queue.put_nowait((time.monotonic() + self.delay, RESET))

    async def drain_into(self, writer):
        try:
            while True:
                due, data = await self.queue.get()
                if self.rate and data:
                    start = max(self.free_at, due - self.delay)
                    self.free_at = start + len(data) / self.rate
                    due = max(due, self.free_at + self.delay)
                wait = due - time.monotonic()
                if wait > 0:
                    await asyncio.sleep(wait)
                if data is RESET:
                    reset(writer)
                    return
                if data is None:
                    break
                writer.write(data)
                await writer.drain()
        except (ConnectionError, OSError):
            pass
        finally:
            try:
                if writer.can_write_eof():
                    writer.write_eof()
            except (ConnectionError, OSError):
                pass


def reset(writer):
    """Closes with RST instead of FIN."""
    sock = writer.get_extra_info("socket")
    if sock is not None:
        try:
            sock.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        except OSError:
            pass
    writer.transport.abort()


async def pump(reader, pipe, rewrite=None, fault=None):
    """Passes bytes on; `fault(data)` may return the part to pass before the connection is cut:
    then both sides get a reset, the far one once that part has reached it."""
    buf = b""
    try:
        while True:
            data = await reader.read(65536)
            if not data:
                break
            if fault is not None:
                last = fault(data)
                if last is not None:
                    if last:
                        pipe.put(last)
                    pipe.reset()
                    return
            if rewrite is None:
                pipe.put(data)
                continue
            buf += data
            while b"\n" in buf:
                line, buf = buf.split(b"\n", 1)
                pipe.put(await rewrite(line + b"\n"))
        if buf:
            pipe.put(buf)
    except (ConnectionError, OSError):
        pass
    pipe.close()


async def splice(creader, cwriter, sreader, swriter, args, rewrite=None, up_fault=None,
                 down_fault=None):
    up, down = Pipe(args.rtt / 2000, args.rate), Pipe(args.rtt / 2000, args.rate)
    await asyncio.gather(
        pump(creader, up, fault=up_fault), up.drain_into(swriter),
        pump(sreader, down, rewrite, fault=down_fault), down.drain_into(cwriter),
    )
    for w in (cwriter, swriter):
        w.close()


async def data_listener(args, server_port):
    """A one-shot proxied data port in front of the server's passive port."""
    async def on_client(cr, cw):
        server.close()
        try:
            sr, sw = await asyncio.open_connection(args.host, server_port)
        except OSError:
            cw.close()
            return
        faulty = args.reset_data_every and next(args.data_count) % args.reset_data_every == 0

        def cut_from_server(data):
            reset(sw)
            return data[: max(1, min(len(data) // 2, 32768))]

        def cut_from_client(data):
            reset(cw)
            return data[: max(1, min(len(data) // 2, 32768))]

        await splice(cr, cw, sr, sw, args, up_fault=cut_from_client if faulty else None,
                     down_fault=cut_from_server if faulty else None)

    server = await asyncio.start_server(on_client, args.host, 0)
    return server.sockets[0].getsockname()[1]


async def on_control(cr, cw, args):
    # The handshake on a real link: the client's SYN, the server's SYN-ACK.
    await asyncio.sleep(args.rtt / 1000)
    try:
        sr, sw = await asyncio.open_connection(args.host, args.server_port)
    except OSError:
        cw.close()
        return

    async def rewrite(line):
        m = PASV.match(line)
        if m:
            port = await data_listener(args, int(m.group(5)) * 256 + int(m.group(6)))
            h = args.host.split(".")
            return b"227 Entering Passive Mode (%s,%s,%s,%s,%d,%d).\r\n" % (
                *[x.encode() for x in h], port >> 8, port & 255)
        m = EPSV.match(line)
        if m:
            port = await data_listener(args, int(m.group(1)))
            return b"229 Entering Extended Passive Mode (|||%d|).\r\n" % port
        return line

    def drop(data):
        if not args.drop_control_every:
            return None
        for _ in range(data.count(b"\n")):
            if next(args.command_count) % args.drop_control_every == 0:
                sw.transport.abort()
                return b""  # the client sees the connection close one way later
        return None

    await splice(cr, cw, sr, sw, args, None if args.plain else rewrite, up_fault=drop)


async def main():
    p = argparse.ArgumentParser()
    p.add_argument("listen_port", type=int)
    p.add_argument("server_port", type=int)
    p.add_argument("--rtt", type=float, default=40.0, help="round trip in milliseconds")
    p.add_argument("--rate", type=float, default=0.0, help="megabits per second each way; 0 = no cap")
    p.add_argument("--host", default="127.0.0.1")
    p.add_argument("--reset-data-every", type=int, default=0, metavar="N")
    p.add_argument("--drop-control-every", type=int, default=0, metavar="N")
    p.add_argument("--plain", action="store_true", help="no FTP rewriting: a delaying TCP proxy")
    args = p.parse_args()
    args.data_count, args.command_count = itertools.count(1), itertools.count(1)
    args.rate = args.rate * 1e6 / 8
    server = await asyncio.start_server(lambda r, w: on_control(r, w, args), args.host, args.listen_port)
    print(f"wan-proxy: {args.host}:{args.listen_port} -> :{args.server_port}, rtt {args.rtt} ms", flush=True)
    async with server:
        await server.serve_forever()


if __name__ == "__main__":
    asyncio.run(main())
