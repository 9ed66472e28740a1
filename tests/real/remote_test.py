#!/usr/bin/env python3
"""remote_test.py BIN: norvanectl of the folder BIN with an engine behind a real sshd of this machine."""
import getpass
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import servers

BIN = pathlib.Path(sys.argv.pop(1)).resolve()


def wait_until(holds, what, seconds=30):
    deadline = time.monotonic() + seconds
    while not holds():
        if time.monotonic() > deadline:
            raise AssertionError(f"{what}: not within {seconds} seconds")
        time.sleep(0.02)


class RemoteEngine(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="norvane-remote-"))
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)
        cls.app = cls.folder / "app"
        cls.app.mkdir()
        cls.start_sshd()
        # ssh reads the configuration of the user's home, whatever HOME says.
        tools = cls.folder / "bin"
        tools.mkdir()
        (tools / "ssh").write_text(f'#!/bin/sh\nexec /usr/bin/ssh -F {cls.folder}/ssh_config "$@"\n')
        (tools / "ssh").chmod(0o755)
        cls.environment = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}", "XDG_RUNTIME_DIR": str(cls.folder)}
        subprocess.run([BIN / "norvane-engine", "--folder", cls.app, "--detach"], check=True)
        cls.addClassCleanup(subprocess.run, [BIN / "norvanectl", "--folder", cls.app, "shutdown"])

    @classmethod
    def start_sshd(cls):
        folder = cls.folder
        port, closed = servers.free_ports(2)
        for key in ("host", "user"):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", folder / key], check=True)
        (folder / "known").write_text(f"[127.0.0.1]:{port} " + (folder / "host.pub").read_text())
        (folder / "sshd_config").write_text(
            f"Port {port}\nListenAddress 127.0.0.1\nHostKey {folder}/host\nAuthorizedKeysFile {folder}/user.pub\n"
            "PidFile none\nUsePAM no\nStrictModes no\n")
        address = f"HostName 127.0.0.1\nUser {getpass.getuser()}\nUserKnownHostsFile {folder}/known\nBatchMode yes\n"
        (folder / "ssh_config").write_text(
            f"Host desk\n{address}Port {port}\nIdentityFile {folder}/user\n"
            f"Host stranger\n{address}Port {port}\nIdentityFile /dev/null\nIdentitiesOnly yes\n"
            f"Host nowhere\n{address}Port {closed}\n")
        if os.geteuid() == 0:
            pathlib.Path("/run/sshd").mkdir(exist_ok=True)
        cls.sshd = subprocess.Popen(["/usr/sbin/sshd", "-D", "-e", "-f", folder / "sshd_config"],
                                    stderr=subprocess.DEVNULL)
        cls.addClassCleanup(lambda: (cls.sshd.terminate(), cls.sshd.wait()))

        def answers():
            try:
                servers.socket.create_connection(("127.0.0.1", port)).close()
                return True
            except OSError:
                return False
        wait_until(answers, "sshd")

    def command(self, *words, host="desk"):
        return [BIN / "norvanectl", "--host", host, "--folder", self.app, *words]

    def ctl(self, *words, **more):
        return subprocess.run(self.command(*words, **more), capture_output=True, text=True, env=self.environment)

    def leftovers(self):
        return list(self.folder.glob("norvane-ssh*"))

    def test_commands(self):
        rows = [
            (("add", "WebMonitor Of far"), 0, ""),
            (("set", "far", "Monitor_FailTimes", "3"), 0, ""),
            (("get", "far", "Monitor_FailTimes"), 0, "3\n"),
            (("save",), 0, ""),
            (("save", str(self.app / "copy")), 0, ""),
            (("load", str(self.app / "copy")), 0, ""),
            (("load", str(self.app / "none")), 4, "no such file"),
            (("list", "--start"), 2, "of this machine only"),
            (("list", "--folder", "app"), 1, "not an absolute path"),
            (("list", "--folder", str(self.folder)), 3, f"no engine answers in {self.folder} on desk"),
            (("list", "--host", "-oProxyCommand=touch x"), 1, "not a host"),
            (("list", "--host", "stranger"), 1, "Permission denied"),
            (("list", "--host", "nowhere"), 1, "Connection refused"),
        ]
        for words, code, says in rows:
            with self.subTest(words):
                done = self.ctl(*words)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertIn(says, done.stdout + done.stderr)
                self.assertEqual(self.leftovers(), [])
        self.assertTrue((self.app / "NorvaneEngine.dat").exists() and (self.app / "copy").exists())
        self.assertIn("sshd", (self.app / "log/changes.log").read_text())

    def test_ssh_ends_with_the_command(self):
        watch = subprocess.Popen(self.command("watch"), stdout=subprocess.PIPE, env=self.environment)
        sockets = lambda: list(self.folder.glob("norvane-ssh*/NorvaneEngine.sock"))
        wait_until(sockets, "the forwarding")
        self.assertEqual(sockets()[0].parent.stat().st_mode & 0o777, 0o700)
        control = str(sockets()[0].parent / "control")
        watch.send_signal(signal.SIGKILL)
        watch.communicate()
        wait_until(lambda: subprocess.run(["pgrep", "-f", control], stdout=subprocess.DEVNULL).returncode == 1,
                   "the end of ssh")
        for folder in self.leftovers():
            shutil.rmtree(folder)


unittest.main()
