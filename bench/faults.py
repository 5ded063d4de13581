"""What stands for lost servers, a distant domain controller and a dead name server."""
import os, queue, select, socket, subprocess, threading, time, urllib.parse

# The two addresses that the organisation's servers have in turns.
FIRST_HALF, SECOND_HALF = "127.0.0.1", "127.0.0.2"
CHUNK = 1 << 18


class EndpointMappers:
    """Stand for the servers' endpoint mappers: one port of both addresses, which accepts and
    closes. `half_silent`: nothing answers at the second address, for the listener's queue is
    full."""

    def __init__(self, half_silent=False):
        self.sockets = [socket.create_server((FIRST_HALF, 0), backlog=128)]
        self.port = self.sockets[0].getsockname()[1]
        self.answer(self.sockets[0])
        second = socket.create_server((SECOND_HALF, self.port), backlog=0 if half_silent else 128)
        self.sockets.append(second)
        if half_silent:
            self.fill()
        else:
            self.answer(second)

    @staticmethod
    def answer(listener):
        def accept():
            while True:
                listener.accept()[0].close()
        threading.Thread(target=accept, daemon=True).start()

    def fill(self):
        """The kernel drops what comes to a full queue, as a lost server's network does."""
        for _ in range(16):
            client = socket.socket()
            client.setblocking(False)
            client.connect_ex((SECOND_HALF, self.port))
            if not select.select([], [client], [], 0.3)[1]:
                client.close()
                return
            self.sockets.append(client)
        raise SystemExit("The listener that stands for a lost server still answers.")


class Relay:
    """A socket that forwards everything to the server's socket, each direction delayed by half of
    the round trip. A new connection costs one round trip, as in TCP. The rate is not limited; TCP
    over a real distance starts slower."""

    def __init__(self, place, server_socket, round_trip_ms):
        path = str(place / f"relay-{round_trip_ms}")
        self.uri = "ldapi://" + urllib.parse.quote(path, safe="")
        self.target, self.half = str(server_socket), round_trip_ms / 2000
        self.path = path
        self.listener = socket.socket(socket.AF_UNIX)
        self.listener.bind(path)
        self.listener.listen(16)
        threading.Thread(target=self.accept, daemon=True).start()

    def accept(self):
        while True:
            try:
                client = self.listener.accept()[0]
            except OSError:  # closed
                return
            server = socket.socket(socket.AF_UNIX)
            server.connect(self.target)
            connected = time.monotonic() + 2 * self.half
            self.forward(client, server, connected)
            self.forward(server, client, connected)

    def forward(self, source, sink, connected):
        under_way = queue.SimpleQueue()

        def read():
            data = b"-"
            while data:
                try:
                    data = source.recv(CHUNK)
                except OSError:
                    data = b""
                under_way.put((max(time.monotonic(), connected) + self.half, data))

        def write():
            while True:
                due, data = under_way.get()
                time.sleep(max(0, due - time.monotonic()))
                try:
                    if not data:
                        sink.shutdown(socket.SHUT_WR)
                        return
                    sink.sendall(data)
                except OSError:  # the other side has gone
                    return
        for work in (read, write):
            threading.Thread(target=work, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        # Closing alone does not wake the thread that accepts.
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        os.unlink(self.path)


class DeadNameServer:
    """`within` begins a command that has a hosts file and a resolv.conf of its own. The name server
    in that resolv.conf never answers. `missing` is what this computer lacks for that, or None."""

    def __init__(self, place, own_name_known):
        self.within, self.missing = None, None
        if os.geteuid():
            self.missing = "root, for mounts and port 53"
            return
        self.silent = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        hosts, resolver = place / f"hosts-{own_name_known}", place / f"resolv-{own_name_known}.conf"
        name = socket.gethostname() if own_name_known else ""
        hosts.write_text(f"127.0.0.1 localhost {name}\n")
        for last in range(2, 255):  # another bench may be under way
            try:
                self.silent.bind((f"127.79.0.{last}", 53))
                break
            except OSError:
                continue
        else:
            self.missing = "a free port 53"
            return
        resolver.write_text(f"nameserver 127.79.0.{last}\n")
        self.within = ["unshare", "--mount", "sh", "-c",
                       f"mount --bind '{hosts}' /etc/hosts && "
                       f"mount --bind '{resolver}' /etc/resolv.conf && "
                       'exec "$@"', "sh"]
        if subprocess.run([*self.within, "true"], stderr=subprocess.DEVNULL).returncode:
            self.missing = "permission to mount"
