#!/usr/bin/python3
"""Usage: web_server.py MAILBOX...

Makes mailboxes on the web server that samba_directory.py runs: collections with the location of a
contacts folder."""
import os, pathlib, socket, subprocess, sys, time, urllib.parse

# What is to be found at the server's addresses, by their last number; 6 has another one's name, and
# nobody listens at 7.
WEB, UNTRUSTED, CLEAR, OLD, SILENT, ANONYMOUS, ELSEWHERE, ODD, EXPIRED = 1, 2, 3, 4, 5, 8, 9, 10, 11


def wait_for(server, *addresses):
    """Returns when a server that has been started can be reached."""
    while any(socket.socket().connect_ex(address) for address in addresses):
        if server.poll() is not None:
            sys.exit("This does not start: " + " ".join(map(str, server.args)))
        time.sleep(0.1)


def serve(place, block):
    """Starts the server at addresses of a block. What it needs of the directory is in `place`. Returns
    it, and what must be kept as long: a listener that never answers."""
    os.chmod(place, 0o711)
    for name in ("exchange", "answers"):
        (place / "web" / name).mkdir(parents=True)
    (place / "web.keytab").rename(place / "web/keytab")
    text = (pathlib.Path(__file__).parent / "web.conf.in").read_text()
    (place / "web.conf").write_text(text.replace("@PLACE@", str(place)).replace("@WEB@", block))
    subprocess.run(["chown", "-R", "www-data", place / "web"], check=True)
    start = "setpriv", "--pdeathsig", "TERM"
    subprocess.Popen([*start, "openssl", "s_server", "-quiet", "-accept", f"{block}{ANONYMOUS}:443",
                      "-nocert", "-tls1_2", "-cipher", "aNULL:@SECLEVEL=0"],
                     stdin=subprocess.PIPE, stderr=subprocess.DEVNULL)
    subprocess.Popen([*start, "/usr/bin/python3", pathlib.Path(__file__).parent / "odd_server.py",
                      f"{block}{ODD}", place], env={**os.environ, "KRB5_KTNAME": f"{place}/web/keytab"})
    # When it ends, it ends all of its process group.
    server = subprocess.Popen([*start, "apache2", "-f", place / "web.conf", "-DFOREGROUND"],
                              start_new_session=True)
    wait_for(server, (block + str(WEB), 443), (block + str(ODD), 443))
    return server, socket.create_server((f"{block}{SILENT}", 443))


def make(*mailboxes):
    web = os.environ["REHOME_TEST_WEB"] + str(WEB)
    urls = [f"https://{web}/exchange/{urllib.parse.quote(name, safe='')}/" for name in mailboxes]
    folder = ("<D:propertyupdate xmlns:D='DAV:' xmlns:m='urn:schemas:httpmail:'><D:set><D:prop>"
              f"<m:contacts>https://{web}/Contacts</m:contacts></D:prop></D:set>"
              "</D:propertyupdate>")
    for request in (["MKCOL"], ["PROPPATCH", "--data", folder]):
        subprocess.run(["curl", "-sSf", "--noproxy", "*", "--cacert", os.environ["SSL_CERT_FILE"],
                        "--negotiate", "--user", ":", "--request", *request, *urls],
                       check=True, stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    make(*sys.argv[1:])
