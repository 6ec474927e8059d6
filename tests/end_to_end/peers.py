"""Mail servers, web servers and proxies that others have written, each with a configuration of its own in the
folder of a test, on a free port, and gone with the test. As root they run as nobody, where they can."""
import os
import pathlib
import pwd
import shutil
import signal
import socket
import subprocess
import tempfile

import harness

PROGRAMS = "/usr/sbin:/usr/bin:/usr/local/sbin:/usr/local/bin"
UNPACKED = harness.TREE / "build" / "peers"  # by scripts/test-peers
NGINX = shutil.which("nginx", path=PROGRAMS)
TINYPROXY = shutil.which("tinyproxy", path=PROGRAMS)
POSTFIX = pathlib.Path("/usr/lib/postfix/sbin/master")


def why_no_postfix():
    if not POSTFIX.exists():
        return "postfix is not installed"
    return "" if os.geteuid() == 0 else "postfix can be started by root only"


def why_not_unpacked(name):
    return "" if (UNPACKED / name).exists() else f"{name} is not there; see scripts/test-peers"


def nobody():
    """What makes a process one of nobody; nothing where this is no root."""
    if os.geteuid() != 0:
        return {}
    user = pwd.getpwnam("nobody")
    return {"user": user.pw_uid, "group": user.pw_gid, "extra_groups": []}


def hand_over(folder):
    """Gives the folder and what is in it to whom the peer runs as."""
    if owner := nobody():
        for path in (folder, *folder.rglob("*")):
            os.chown(path, owner["user"], owner["group"], follow_symlinks=False)


class Peer:
    """A program that listens on `port`. All that it has started ends with it."""

    def __init__(self, folder, name):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix=f"{name}-", dir=folder))
        self.folder.chmod(0o755)
        folder.chmod(0o711)  # others pass, and see nothing
        self.name = name
        self.port = harness.free_port()
        self.output = self.folder / "output"
        self.process = None

    def write(self, name, *lines):
        path = self.folder / name
        path.write_text("".join(f"{line}\n" for line in lines))
        return path

    def unpack(self):
        shutil.copytree(UNPACKED / self.name, self.folder, dirs_exist_ok=True)

    def start(self, *command, environment=None, **options):
        with open(self.output, "wb") as output:
            self.process = subprocess.Popen(
                command, stdin=subprocess.DEVNULL, stdout=output, stderr=output, cwd=self.folder,
                env={"PATH": PROGRAMS, **(environment or {})}, start_new_session=True, **options)
        harness.wait_until_it_listens(self.process, self.port, lambda: self.output.read_text(errors="replace"))

    def certify(self, certificate, key):
        """From the next start on, this is its certificate."""
        for source, name in ((certificate, "certificate"), (key, "key")):
            shutil.copy(source, self.folder / name)
        hand_over(self.folder)

    def freeze(self):
        """It is there, and does nothing."""
        os.killpg(self.process.pid, signal.SIGSTOP)

    def thaw(self):
        os.killpg(self.process.pid, signal.SIGCONT)

    def restart(self):
        self.stop()
        self.run()

    def stop(self):
        if self.process is not None and self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait(harness.LIMIT)

    def close(self):
        self.stop()


class Postfix(Peer):
    """postfix, which hands all mail on to the server at `onward`. Runs as root: its parts drop by themselves
    what they do not need."""

    SERVICES = """
127.0.0.1:{port} inet n - n - - smtpd
cleanup unix n - n - 0 cleanup
qmgr unix n - n 1 1 qmgr
tlsmgr unix - - n 1000? 1 tlsmgr
rewrite unix - - n - - trivial-rewrite
bounce unix - - n - 0 bounce
defer unix - - n - 0 bounce
trace unix - - n - 0 bounce
proxymap unix - - n - - proxymap
anvil unix - - n - 1 anvil
smtp unix - - n - - smtp
postlog unix-dgram n - n - 1 postlogd
"""
    QUEUES = ("data", "active", "bounce", "corrupt", "defer", "deferred", "flush", "hold", "incoming",
              "maildrop", "private", "public", "saved", "trace")

    def __init__(self, folder, onward, certificate, key, *settings):
        super().__init__(folder, "postfix")
        self.onward, self.settings = onward, settings
        self.certify(certificate, key)
        self.write("master.cf", *self.SERVICES.format(port=self.port).strip().splitlines())
        self.run()

    def run(self):
        """Each time with a queue of its own: what is left of the last run is in nobody's way."""
        queue = pathlib.Path(tempfile.mkdtemp(prefix="queue-", dir=self.folder))
        queue.chmod(0o755)
        self.make_folders(queue)
        configuration = self.write(
            "main.cf", "compatibility_level = 3.6", f"queue_directory = {queue}", f"data_directory = {queue}/data",
            f"daemon_directory = {POSTFIX.parent}", "command_directory = /usr/sbin", "mail_owner = postfix",
            "myhostname = postfix.example", "mydestination =", "inet_interfaces = 127.0.0.1",
            "inet_protocols = ipv4", f"relayhost = [127.0.0.1]:{self.onward}", "mynetworks = 127.0.0.0/8",
            "smtpd_relay_restrictions = permit_mynetworks, reject", "disable_dns_lookups = yes",
            f"smtpd_tls_cert_file = {self.folder}/certificate", f"smtpd_tls_key_file = {self.folder}/key",
            "smtpd_tls_received_header = yes", f"maillog_file = {self.folder}/mail.log",
            f"maillog_file_prefixes = {self.folder}", "smtp_tls_security_level = none", "alias_maps =",
            "local_recipient_maps =", "smtputf8_enable = no", "queue_run_delay = 1s",
            "minimal_backoff_time = 1s", "maximal_backoff_time = 1s", *self.settings)
        # It waits for a file that has just been changed: somebody might still be at it.
        os.utime(configuration, (0, 0))
        self.start(POSTFIX, "-c", self.folder, "-d", environment={"MAIL_CONFIG": str(self.folder)})

    def make_folders(self, queue):
        user = pwd.getpwnam("postfix")
        (queue / "pid").mkdir()
        for name in self.QUEUES:
            (queue / name).mkdir(mode=0o700)
            os.chown(queue / name, user.pw_uid, user.pw_gid)
        (queue / "public").chmod(0o755)

    def certify(self, certificate, key):
        """Its parts read them before they drop their rights."""
        for source, name in ((certificate, "certificate"), (key, "key")):
            shutil.copy(source, self.folder / name)


class Exim(Peer):
    """exim, which takes mail encrypted and with a login only (by STARTTLS, and at `tls_port` from the first
    byte) and hands it on to the server at `onward`."""

    CONFIGURATION = """
primary_hostname = exim.example
exim_path = {folder}/exim4
spool_directory = {folder}/spool
log_file_path = {folder}/%s.log
pid_file_path = {folder}/pid
local_interfaces = 127.0.0.1
daemon_smtp_ports = {port} : {tls_port}
tls_on_connect_ports = {tls_port}
tls_certificate = {folder}/certificate
tls_privatekey = {folder}/key
tls_advertise_hosts = *
auth_advertise_hosts = ${{if def:tls_in_cipher{{*}}}}
host_lookup =
rfc1413_hosts =
keep_environment = LD_LIBRARY_PATH : LD_PRELOAD : NSS_WRAPPER_PASSWD : NSS_WRAPPER_GROUP
received_header_text = ${{if def:sender_fullhost{{Received: with $received_protocol \\
    as $authenticated_id id $message_exim_id}}}}
acl_smtp_mail = check_sender
acl_smtp_rcpt = accept
acl_smtp_data = check_content
begin acl
check_sender:
    deny ! encrypted = *
        message = encryption first
    deny ! authenticated = *
        message = a login first
    accept
check_content:
    {content_rule}
    accept
begin routers
onward:
    driver = manualroute
    route_list = * 127.0.0.1::{onward}
    self = send
    transport = onward
begin transports
onward:
    driver = smtp
    allow_localhost
    hosts_avoid_tls = *
begin authenticators
{mechanism}:
    driver = plaintext
    public_name = {mechanism}
    server_prompts = {prompts}
    server_set_id = ${user}
    server_condition = ${{if and{{{{eq{{${user}}}{{switch17}}}} \
        {{eq{{${secret}}}{{${{readfile{{{folder}/secret}}}}}}}}}}}}
"""
    # Which values a mechanism brings, and what it asks for.
    MECHANISMS = {"PLAIN": {"prompts": ":", "user": "auth2", "secret": "auth3"},
                  "LOGIN": {"prompts": "Username:: : Password::", "user": "auth1", "secret": "auth2"}}

    def __init__(self, folder, onward, certificate, key, secret, mechanism="PLAIN", content_rule=""):
        super().__init__(folder, "exim")
        self.unpack()
        self.tls_port = harness.free_port()
        (self.folder / "spool").mkdir()
        (self.folder / "secret").write_text(secret)
        self.write("exim.conf", self.CONFIGURATION.format(
            folder=self.folder, port=self.port, tls_port=self.tls_port, onward=onward, mechanism=mechanism,
            content_rule=content_rule.replace("FOLDER", str(self.folder)), **self.MECHANISMS[mechanism]))
        self.certify(certificate, key)
        who = nobody() or {"user": os.getuid(), "group": os.getgid()}
        # The user whose name is built into the program is the one as whom it runs.
        self.users = self.write("users", "root:x:0:0::/:/bin/false",
                                f"Debian-exim:x:{who['user']}:{who['group']}::/:/bin/false")
        self.groups = self.write("groups", "root:x:0:", "mail:x:8:", f"Debian-exim:x:{who['group']}:")
        self.run()

    def run(self):
        self.start(self.folder / "exim4", "-C", self.folder / "exim.conf", "-bdf", environment={
            "LD_LIBRARY_PATH": str(self.folder), "LD_PRELOAD": str(self.folder / "libnss_wrapper.so"),
            "NSS_WRAPPER_PASSWD": str(self.users), "NSS_WRAPPER_GROUP": str(self.groups)}, **nobody())


class Nginx(Peer):
    """nginx, which keeps what is posted to it in files, and tells of each post when it has answered."""

    CONFIGURATION = """
daemon off;
master_process off;
pid {folder}/pid;
events {{ worker_connections 64; }}
http {{
    log_format post escape=json
        '"$request_body_file" $ssl_protocol $status $http_idempotency_key $content_type';
    access_log syslog:server=unix:{folder}/log,nohostname post;
    client_body_temp_path {folder}/body;
    client_body_in_file_only on;
    proxy_temp_path {folder}/proxy;
    fastcgi_temp_path {folder}/fastcgi;
    scgi_temp_path {folder}/scgi;
    uwsgi_temp_path {folder}/uwsgi;
    server {{
        listen 127.0.0.1:{port} ssl;
        listen 127.0.0.1:{plain_port};
        ssl_certificate {folder}/certificate;
        ssl_certificate_key {folder}/key;
        location / {{ client_max_body_size {most}; proxy_pass http://unix:{folder}/taken; }}
        location /refused {{ return 403; }}
    }}
    server {{
        listen unix:{folder}/taken;
        access_log off;
        location / {{ return 204; }}
    }}
}}
"""

    def __init__(self, folder, certificate, key, most="8m"):
        super().__init__(folder, "nginx")
        self.plain_port = harness.free_port()
        self.write("nginx.conf", self.CONFIGURATION.format(
            folder=self.folder, port=self.port, plain_port=self.plain_port, most=most))
        self.certify(certificate, key)
        self.log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.log.bind(str(self.folder / "log"))
        (self.folder / "log").chmod(0o777)
        self.log.settimeout(harness.LIMIT)
        self.run()

    def run(self):
        here = self.folder
        self.start(NGINX, "-p", here, "-e", here / "error.log", "-c", here / "nginx.conf", **nobody())

    def post(self):
        """What it tells of the next post: the body, and the words of its line of the log."""
        line = self.log.recv(65536).decode().split("nginx: ", 1)[1]
        file, words = line[1:].split('" ', 1)
        return pathlib.Path(file).read_bytes() if file else b"", words

    def stop(self):
        super().stop()
        (self.folder / "taken").unlink(missing_ok=True)

    def close(self):
        super().close()
        self.log.close()


class Squid(Peer):
    """squid, which wants a login."""

    def __init__(self, folder, user, secret):
        super().__init__(folder, "squid")
        self.unpack()
        coded = subprocess.run(["openssl", "passwd", "-apr1", "-stdin"], input=secret, check=True,
                               capture_output=True, text=True).stdout.strip()
        here = self.folder
        self.write("users", f"{user}:{coded}")
        self.write("squid.conf", f"http_port 127.0.0.1:{self.port}", "pid_filename none",
                   f"cache_log {here}/cache.log", f"access_log stdio:{here}/access.log", "cache deny all",
                   "cache_mem 8 MB", "memory_pools off", f"coredump_dir {here}", "max_filedescriptors 256",
                   f"mime_table {here}/mime.conf", f"error_directory {here}/errors",
                   f"icon_directory {here}/icons", f"unlinkd_program {here}/unlinkd",
                   f"logfile_daemon {here}/log_file_daemon", "pinger_enable off", "netdb_filename none",
                   f"auth_param basic program {here}/basic_ncsa_auth {here}/users",
                   "auth_param basic children 1 startup=1", "acl known proxy_auth REQUIRED",
                   "http_access allow known", "http_access deny all", "visible_hostname squid.example")
        hand_over(self.folder)
        self.start(here / "squid", "-N", "-f", here / "squid.conf",
                   environment={"LD_LIBRARY_PATH": str(here)}, **nobody())


class Tinyproxy(Peer):
    """tinyproxy, which wants a login."""

    def __init__(self, folder, user, secret):
        super().__init__(folder, "tinyproxy")
        configuration = self.write(
            "tinyproxy.conf", f"Port {self.port}", "Listen 127.0.0.1", "Allow 127.0.0.1", "Timeout 20",
            "MaxClients 10", f'LogFile "{self.folder}/log"', "LogLevel Connect",
            'ViaProxyName "tinyproxy.example"', f"BasicAuth {user} {secret}")
        hand_over(self.folder)
        self.start(TINYPROXY, "-d", "-c", configuration, **nobody())
