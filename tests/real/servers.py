"""Real servers on loopback ports, configured in a temporary folder. As root they run as `nobody`."""
import grp
import http.server
import json
import os
import pwd
import signal
import socket
import subprocess
import threading
import urllib.request

OWNER = pwd.getpwnam("nobody") if os.geteuid() == 0 else pwd.getpwuid(os.geteuid())
GROUP = grp.getgrgid(OWNER.pw_gid).gr_name
AS_OWNER = {"user": OWNER.pw_uid, "group": OWNER.pw_gid, "extra_groups": []} if os.geteuid() == 0 else {}


def free_ports(count):
    listeners = [socket.create_server(("127.0.0.1", 0)) for _ in range(count)]
    ports = [listener.getsockname()[1] for listener in listeners]
    for listener in listeners:
        listener.close()
    return ports


def run(*command, **options):
    return subprocess.run(command, check=True, capture_output=True, text=True, **options)


class Authority:
    """Issues certificates for servers: NAME.pem with NAME.key."""

    def __init__(self, folder, name):
        self.folder, self.name = folder, name
        self.certificate = folder / f"{name}.pem"
        run("openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", f"/CN={name}",
            "-keyout", folder / f"{name}.key", "-out", self.certificate)

    def issue(self, name, host="DNS:localhost,IP:127.0.0.1", days=1):
        """Negative days: expired that long ago."""
        request = run("openssl", "req", "-new", "-newkey", "rsa:2048", "-nodes", "-subj", f"/CN={name}",
                      "-addext", f"subjectAltName={host}", "-keyout", self.folder / f"{name}.key").stdout
        run("openssl", "x509", "-req", "-days", str(days), "-copy_extensions", "copy", "-CA", self.certificate,
            "-CAkey", self.folder / f"{self.name}.key", "-out", self.folder / f"{name}.pem", input=request)
        (self.folder / f"{name}.key").chmod(0o644)  # the servers run as somebody else


class Daemon:
    """A server in the foreground."""
    ending = signal.SIGTERM

    def __init__(self, *command):
        self.process = subprocess.Popen(command, **AS_OWNER)

    def stop(self):
        self.process.send_signal(self.ending)
        self.process.wait()


class Nginx(Daemon):
    """Serves `pages` by http at `port`, and by https at a port for each certificate."""

    def __init__(self, folder, certificates):
        self.pages = folder / "pages"
        self.pages.mkdir()
        self.port, *secure = free_ports(1 + len(certificates))
        self.secure_ports = dict(zip(certificates, secure))
        tls = "".join(f"""
            server {{ listen 127.0.0.1:{port} ssl; root {self.pages};
                      ssl_certificate {folder}/{name}.pem; ssl_certificate_key {folder}/{name}.key; }}"""
                      for name, port in self.secure_ports.items())
        temporary = " ".join(f"{kind}_temp_path {folder}/nginx;"
                             for kind in ("client_body", "proxy", "fastcgi", "uwsgi", "scgi"))
        (folder / "nginx.conf").write_text(f"""
            daemon off; pid {folder}/nginx.pid; events {{}}
            http {{ access_log off; {temporary}
              server {{ listen 127.0.0.1:{self.port}; root {self.pages}; }} {tls} }}""")
        super().__init__("/usr/sbin/nginx", "-c", folder / "nginx.conf", "-e", folder / "nginx.log")


class Dovecot(Daemon):
    """Mailboxes `full` with one mail and `empty`, password "secret". On 127.0.0.1 no logon without TLS, on 127.0.0.2
    none with it. At `submission_port` whoever logs on sends mail to `relay_port`."""

    def __init__(self, folder, certificate, relay_port):
        self.port, self.secure_port, self.submission_port = free_ports(3)
        self.log = folder / "dovecot.log"
        for part in ("full/new", "full/cur", "full/tmp", "empty/new", "empty/cur", "empty/tmp"):
            run("mkdir", "-p", folder / "mailboxes" / part, **AS_OWNER)
        (folder / "mailboxes/full/new/1").write_text("Subject: hello\n\nhello\n")
        (folder / "dovecot.conf").write_text(f"""
            base_dir = {folder}/dovecot
            state_dir = {folder}/dovecot-state
            log_path = {self.log}
            protocols = pop3 submission
            auth_mechanisms = plain login scram-sha-256
            submission_relay_host = 127.0.0.1
            submission_relay_port = {relay_port}
            listen = 127.0.0.1, 127.0.0.2, 127.0.0.3
            default_internal_user = {OWNER.pw_name}
            default_internal_group = {GROUP}
            default_login_user = {OWNER.pw_name}
            first_valid_uid = {OWNER.pw_uid}
            first_valid_gid = {OWNER.pw_gid}
            auth_failure_delay = 0
            ssl = required
            ssl_cert = <{folder}/{certificate}.pem
            ssl_key = <{folder}/{certificate}.key
            local 127.0.0.2 {{
              ssl = no
              disable_plaintext_auth = no
            }}
            mail_location = maildir:{folder}/mailboxes/%u
            service pop3-login {{
              chroot =
              inet_listener pop3 {{
                port = {self.port}
              }}
              inet_listener pop3s {{
                port = {self.secure_port}
                ssl = yes
              }}
            }}
            service submission-login {{
              chroot =
              inet_listener submission {{
                port = {self.submission_port}
              }}
            }}
            service anvil {{
              chroot =
            }}
            service stats {{
              chroot =
            }}
            passdb {{
              driver = static
              args = password=secret
            }}
            userdb {{
              driver = static
              args = uid={OWNER.pw_uid} gid={OWNER.pw_gid} home={folder}/mailboxes/%u
            }}
            """)
        super().__init__("/usr/sbin/dovecot", "-F", "-c", folder / "dovecot.conf")


class Alertmanager(Daemon):
    """Two of these are independent instances. What it holds is gone when it stops."""

    def __init__(self, folder, port=None):
        self.port = port or free_ports(1)[0]
        (folder / "alertmanager.yml").write_text("route: { receiver: nobody }\nreceivers: [ name: nobody ]\n")
        data = folder / f"alertmanager-{self.port}"
        run("mkdir", "-p", data, **AS_OWNER)
        super().__init__("/usr/bin/prometheus-alertmanager", f"--config.file={folder}/alertmanager.yml",
                         f"--storage.path={data}", f"--web.listen-address=127.0.0.1:{self.port}",
                         "--cluster.listen-address=", "--log.level=error")

    def alerts(self):
        """Labels and annotations of those that fire, by monitor."""
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}/api/v2/alerts", timeout=10) as reply:
            return {alert["labels"]["monitor"]: {**alert["annotations"], **alert["labels"]} for alert in json.load(reply)}


class Webhook(http.server.ThreadingHTTPServer):
    """Fails `failures` times, then accepts. `requests` are headers and object of each."""

    def __init__(self, failures):
        self.failures, self.requests = failures, []
        super().__init__(("127.0.0.1", 0), WebhookHandler)
        self.port = self.server_address[1]
        threading.Thread(target=self.serve_forever, daemon=True).start()


class WebhookHandler(http.server.BaseHTTPRequestHandler):
    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        self.server.requests.append((self.headers, json.loads(body)))
        self.send_response(503 if len(self.server.requests) <= self.server.failures else 204)
        self.send_header("Retry-After", "1")
        self.end_headers()

    def log_message(self, *_):
        pass


class Exim(Daemon):
    """Accepts mail for anybody, by SMTP and by smtps, and appends it to `mailbox`. At `logon_port` `watcher` has to
    log on with "secret", at `strange_port` there is another certificate."""
    ending = signal.SIGKILL  # an orderly end wants to be root

    def __init__(self, folder, certificate, strange=None):
        self.log = folder / "spool/mainlog"
        self.mailbox = folder / "delivered"
        self.port, self.secure_port, self.logon_port, self.strange_port = free_ports(4)
        (folder / "exim.conf").write_text(f"""
            primary_hostname = mail.example.com
            exim_user = {OWNER.pw_uid}
            exim_group = {OWNER.pw_gid}
            local_interfaces = 127.0.0.1
            daemon_smtp_ports = {self.port} : {self.secure_port} : {self.logon_port} : {self.strange_port}
            tls_on_connect_ports = {self.secure_port}
            pid_file_path = {folder}/exim.pid
            spool_directory = {folder}/spool
            log_file_path = {folder}/spool/%slog
            log_selector = +smtp_connection
            smtp_accept_queue_per_connection = 0
            deliver_drop_privilege
            keep_environment =
            tls_advertise_hosts = *
            CERTIFICATE = {folder}/${{if eq{{$received_port}}{{{self.strange_port}}}{{{strange or certificate}}}{{{certificate}}}}}
            tls_certificate = CERTIFICATE.pem
            tls_privatekey = CERTIFICATE.key
            auth_advertise_hosts = ${{if def:tls_in_cipher{{*}}}}
            host_lookup =
            rfc1413_hosts =
            acl_smtp_rcpt = recipient
            acl_smtp_data = accept
            begin acl
            recipient:
              deny condition = ${{if eq{{$received_port}}{{{self.logon_port}}}}}
                !authenticated = *
                message = log on first
              accept
            begin authenticators
            plain:
              driver = plaintext
              public_name = PLAIN
              server_prompts = :
              server_condition = ${{if eq{{$auth2:$auth3}}{{watcher:secret}}}}
            begin routers
            all:
              driver = accept
              transport = append
            begin transports
            append:
              driver = appendfile
              file = {self.mailbox}
            """.replace("\n            ", "\n"))
        super().__init__("/usr/sbin/exim4", "-C", folder / "exim.conf", "-bdf", "-odi")

    def mails(self):
        """What was delivered so far, oldest first."""
        text = self.mailbox.read_text() if self.mailbox.exists() else ""
        return [mail for mail in ("\n" + text).split("\nFrom ") if mail.strip()]
