#!/usr/bin/python3
"""Usage: odd_server.py ADDRESS PLACE

An https server that lets people sign on with Kerberos and plays what is in PLACE/web/answers: a request
for /exchange/NAME/ is answered with the file NAME, a head and a body, "TOKEN" being what Kerberos has to
say. Where there is no such file, no answer comes. odd.log gets a line for each request."""
import base64, ctypes, http.server, pathlib, ssl, sys, time, urllib.parse

ADDRESS, PLACE = sys.argv[1], pathlib.Path(sys.argv[2])
GSS = ctypes.CDLL("libgssapi_krb5.so.2")
DELEGATED = 1  # GSS_C_DELEG_FLAG


class Buffer(ctypes.Structure):
    _fields_ = [("length", ctypes.c_size_t), ("value", ctypes.c_char_p)]


def accept(token):
    """Whether it is a good one, the answer to it, and the context's flags."""
    context, minor, flags, answer = ctypes.c_void_p(), ctypes.c_uint(), ctypes.c_uint(), Buffer()
    major = GSS.gss_accept_sec_context(
        ctypes.byref(minor), ctypes.byref(context), None, ctypes.byref(Buffer(len(token), token)), None,
        None, None, ctypes.byref(answer), ctypes.byref(flags), None, None)
    return major == 0, ctypes.string_at(answer.value or b"", answer.length), flags.value


class Odd(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def do_PROPFIND(self):
        self.rfile.read(int(self.headers["Content-Length"]))
        name = urllib.parse.unquote(self.path.split("/")[2])
        scheme, _, token = self.headers.get("Authorization", "").partition(" ")
        good, answer, flags = accept(base64.b64decode(token)) if scheme == "Negotiate" else (False, b"", 0)
        with (PLACE / "odd.log").open("a") as log:
            print(name, good, "delegated" if flags & DELEGATED else "", file=log)
        file = PLACE / "web/answers" / name
        time.sleep(0.3 if "-slow" in name else 0 if file.exists() else 20)
        text = file.read_text()
        if not good and not text.startswith("HTTP/1.1 401"):
            text = "HTTP/1.1 401 Sign on\nWWW-Authenticate: Negotiate\n\n"
        head, body = text.replace("TOKEN", base64.b64encode(answer).decode()).split("\n\n", 1)
        self.close_connection = "\nContent-Length: " in head  # cut short
        if not self.close_connection:
            head += f"\nContent-Length: {len(body.encode())}"
        self.wfile.write((head + "\n\n").replace("\n", "\r\n").encode() + body.encode())

    def log_message(self, *_):
        pass


server = http.server.ThreadingHTTPServer((ADDRESS, 443), Odd)
tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
tls.load_cert_chain(PLACE / "cert.pem", PLACE / "cert-key.pem")
server.socket = tls.wrap_socket(server.socket, True, do_handshake_on_connect=False)
server.serve_forever()
