#!/usr/bin/python3
"""A little LDAP server (RFC 4511) on a local socket, for what Samba does not do: limits an un-paged
search to 1,000 entries and values to 1,500, refers elsewhere, hangs up. The base of a request says
what happens; a search of "CN=Log" tells how many requests each other base has had."""
import collections, re, socketserver, sys

PAGED = "1.2.840.113556.1.4.319"
requests = collections.Counter()


def tlv(tag, *parts):
    body = b"".join(part.encode() if isinstance(part, str) else part for part in parts)
    size = len(body)
    length = bytes([size]) if size < 128 else b"\x84" + size.to_bytes(4, "big")
    return bytes([tag]) + length + body


def number(value, tag=2):
    return tlv(tag, value.to_bytes(value.bit_length() // 8 + 1, "big"))


def parts(data):
    """The (tag, content) pairs that the data consists of."""
    found = []
    while data:
        size, start = data[1], 2
        if size > 127:
            start = 2 + size % 128
            size = int.from_bytes(data[2:start], "big")
        found.append((data[0], data[start:start + size]))
        data = data[start + size:]
    return found


class Server(socketserver.StreamRequestHandler):
    def answer(self, tag, *content, controls=b""):
        self.wfile.write(tlv(0x30, self.number, tlv(tag, *content), controls))

    def result(self, tag, code=0, said="", extra=b"", controls=b""):
        self.answer(tag, number(code, 10), tlv(4), tlv(4, said), extra, controls=controls)

    def entry(self, name, attribute, values):
        self.answer(0x64, tlv(4, name), tlv(0x30, tlv(0x30, tlv(4, attribute),
                                                      tlv(0x31, *[tlv(4, v) for v in values]))))

    def message(self):
        head = self.rfile.read(2)
        if len(head) < 2:
            return None
        more = self.rfile.read(head[1] % 128) if head[1] > 127 else b""
        return self.rfile.read(int.from_bytes(more, "big") if more else head[1])

    def handle(self):
        while (message := self.message()) is not None:
            (_, identifier), (kind, body), *controls = parts(message)
            self.number = tlv(2, identifier)
            if kind == 0x60:
                self.result(0x61)
                continue
            if kind not in (0x63, 0x66):
                continue
            fields = parts(body)
            base = fields[0][1].decode()
            requests[base] += 1
            if base == "CN=Swallow" or (base == "CN=SwallowOnce" and requests[base] == 1):
                return
            if kind == 0x66:
                self.result(0x67)
            else:
                asked = [name.decode() for _, name in parts(fields[7][1])]
                self.search(base, asked, parts(controls[0][1]) if controls else [])
            if base == "CN=HangUp":
                return

    def search(self, base, asked, controls):
        if base == "":
            self.entry("", "supportedControl", [PAGED])
        elif base == "CN=Log":
            self.entry(base, "requests", ["%s %d" % item for item in requests.items()])
        elif base == "CN=Elsewhere":
            return self.result(0x65, 10, "", tlv(0xa3, tlv(4, "ldap://other.test/CN=Elsewhere")))
        elif base == "CN=Many":
            return self.many(controls)
        elif base == "CN=Breaks":
            for i in range(7):
                self.entry("CN=%d" % i, "cn", [str(i)])
            return self.result(0x65, 51, "busy with something else")
        elif base == "CN=Ranged":
            at = re.search(r"range=(\d+)-", asked[0])
            first = int(at.group(1)) if at else 0
            last = "*" if first + 1500 >= 3200 else first + 1499
            self.entry(base, "member;range=%d-%s" % (first, last),
                       ["CN=%d" % i for i in range(first, min(first + 1500, 3200))])
        self.result(0x65)

    def many(self, controls):
        wanted, first, paged = 1000, 0, False
        for _, control in controls:
            content = parts(control)
            if content[0][1].decode() == PAGED:
                paged, (size, cookie) = True, parts(parts(content[-1][1])[0][1])
                wanted = min(wanted, int.from_bytes(size[1], "big"))
                first = int(cookie[1] or b"0")
        last = min(first + wanted, 2500)
        for i in range(first, last):
            self.entry("CN=%d" % i, "cn", [str(i)])
        self.answer(0x73, tlv(4, "ldap://other.test/DC=other"))
        if not paged:
            return self.result(0x65, 4)
        cookie = str(last) if last < 2500 else ""
        self.result(0x65, controls=tlv(0xa0, tlv(0x30, tlv(4, PAGED), tlv(4, tlv(
            0x30, number(0), tlv(4, cookie))))))


with socketserver.ThreadingUnixStreamServer(sys.argv[1], Server) as server:
    server.daemon_threads = True
    print("ready", flush=True)
    server.serve_forever()
