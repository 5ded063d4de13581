#!/usr/bin/python3
"""Usage: web_server.py MAILBOX...

Makes mailboxes on the web server that samba_directory.py runs: collections with the location of a
contacts folder."""
import os, pathlib, socket, subprocess, sys, threading, time, urllib.parse

# What is to be found at the server's addresses, by their last number, on port 443.
WEB, UNTRUSTED, CLEAR, OLD, SILENT, MISNAMED, ANONYMOUS, ELSEWHERE = 1, 2, 3, 4, 5, 6, 8, 9
# Whatever arrives here is written down and never answered.
TRAPS = ((SILENT, 443), (WEB, 80), (ELSEWHERE, 80), (ELSEWHERE, 443))
MODULES = ("mpm_prefork", "authn_core", "authz_core", "authz_user", "alias", "cgi", "dav", "dav_fs",
           "ssl", "auth_gssapi")
HOSTS = ((WEB, "cert", ""), (UNTRUSTED, "other", ""), (OLD, "cert", "SSLProtocol TLSv1\n"
         "SSLCipherSuite DEFAULT@SECLEVEL=0"), (MISNAMED, "cert", ""))
CONFIGURATION = """
PidFile {place}/web.pid
ErrorLog {place}/web-error.log
LogFormat "%A %u %m %U %>s %k" asked
CustomLog {place}/asked.log asked
ServerName {block}{clear}
User www-data
Group www-data
MaxKeepAliveRequests 0
DavLockDB {place}/web/locks
DocumentRoot {place}/web
ScriptAliasMatch ^/exchange/answer-(.*)/$ {place}/web/answer
<Location /exchange>
    AuthType GSSAPI
    GssapiCredStore keytab:{place}/web/keytab
    Require valid-user
</Location>
<Directory {place}/web/exchange>
    Dav On
</Directory>
Listen {block}{clear}:443 http
<VirtualHost {block}{clear}:443>
    ServerName {block}{clear}
</VirtualHost>
"""
HOST = """
Listen {address}:443 https
<VirtualHost {address}:443>
    ServerName {address}
    SSLEngine on
    SSLCertificateFile {place}/{certificate}.pem
    SSLCertificateKeyFile {place}/{certificate}-key.pem
    {more}
</VirtualHost>
"""
# A mailbox answer-X is answered with the file of that name, head and all; answer-slow takes longer.
ANSWER = """#!/bin/sh
case $REQUEST_URI in */answer-slow*) sleep 0.3 ;; esac
exec timeout 20 cat "{place}/web/answers/$(basename "$REQUEST_URI")"
"""


def trap(place, address):
    listener = socket.create_server(address)

    def listen():
        kept = []
        while True:
            kept.append(listener.accept())
            with (place / "trapped.log").open("a") as log:
                print(*address, file=log)
    threading.Thread(target=listen, daemon=True).start()


def serve(place, block):
    """Starts the server at addresses of a block. What it needs of the directory is in `place`."""
    os.chmod(place, 0o711)
    (place / "web").mkdir()
    for name in ("exchange", "answers"):
        (place / "web" / name).mkdir()
    (place / "web.keytab").rename(place / "web/keytab")
    (place / "trapped.log").touch()
    script = place / "web/answer"
    script.write_text(ANSWER.format(place=place))
    script.chmod(0o755)
    subprocess.run(["chown", "-R", "www-data", place / "web"], check=True)
    modules = "".join(f"LoadModule {name}_module /usr/lib/apache2/modules/mod_{name}.so\n"
                      for name in MODULES)
    (place / "web.conf").write_text(
        modules + CONFIGURATION.format(place=place, block=block, clear=CLEAR)
        + "".join(HOST.format(place=place, address=block + str(number), certificate=certificate,
                              more=more) for number, certificate, more in HOSTS))
    for number, port in TRAPS:
        trap(place, (block + str(number), port))
    start = "setpriv", "--pdeathsig", "TERM"
    subprocess.Popen([*start, "openssl", "s_server", "-quiet", "-accept", f"{block}{ANONYMOUS}:443",
                      "-nocert", "-tls1_2", "-cipher", "aNULL:@SECLEVEL=0"],
                     stdin=subprocess.PIPE, stderr=subprocess.DEVNULL)
    # When it ends, it ends all of its process group.
    server = subprocess.Popen([*start, "apache2", "-f", place / "web.conf", "-DFOREGROUND"],
                              start_new_session=True)
    while socket.socket().connect_ex((block + str(WEB), 443)):
        if server.poll() is not None:
            sys.exit("The test web server does not start: "
                     + (place / "web-error.log").read_text())
        time.sleep(0.1)
    return server


def make(*mailboxes):
    web = os.environ["REHOME_TEST_WEB"] + str(WEB)
    urls = [f"https://{web}/exchange/{urllib.parse.quote(name, safe='')}/" for name in mailboxes]
    folder = ("<D:propertyupdate xmlns:D='DAV:' xmlns:m='urn:schemas:httpmail:'><D:set><D:prop>"
              f"<m:contacts>https://{web}/Contacts</m:contacts></D:prop></D:set>"
              "</D:propertyupdate>")
    for request in (["MKCOL"], ["PROPPATCH", "--data", folder]):
        subprocess.run(["curl", "-sSf", "--noproxy", "*", "--cacert", os.environ["SSL_CERT_FILE"],
                        "--negotiate", "--user", ":", "--request", *request, *urls], check=True, stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    make(*sys.argv[1:])
