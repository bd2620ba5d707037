"""Shared by the checks of this folder: generated homes, a client of the server, and the runner.

A check is a function with the mark @check; what it returns is the figure that it gave. Processes are started with
the environment of a check and nothing else, and everything that waits has a deadline.
"""

import contextlib
import json
import os
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

BUILD = os.path.abspath(os.path.join(os.path.dirname(__file__), "../../build/release"))
SERVER = os.path.join(BUILD, "Sources/TallyfinMCP")
COMMAND = os.path.join(BUILD, "Sources/tallyfin")
STEPPED = os.path.join(BUILD, "Tests/SteppedServer")
PATIENCE = 60  # seconds; no answer takes longer

TOOLS = {
    "tally_overview": {},
    "tally_cost": {"period": "all", "by": "session"},
    "tally_top_agents": {"period": "all"},
    "tally_top_projects": {"period": "all"},
    "tally_by_model": {"period": "all"},
    "tally_session": {"session_id": "session"},
    "tally_agent": {"agent": "main"},
    "tally_provenance": {"period": "all"},
    "tally_sources": {},
}


def line(request, tokens=1_000, session="session-1", cwd="/nowhere/alpha"):
    """The transcript line of request number `request`, as bytes, with line feed."""
    return (json.dumps({
        "timestamp": f"2026-03-{1 + request % 28:02}T10:00:{request % 60:02}Z", "sessionId": session, "cwd": cwd,
        "requestId": f"req_{request}",
        "message": {"id": f"msg_{request}", "model": "claude-opus-5",
                    "usage": {"input_tokens": tokens, "output_tokens": 7}}}) + "\n").encode()


class Home:
    """A directory with transcripts and a cache; removed at the end of the scope."""

    def __init__(self, base=None):
        self.root = tempfile.mkdtemp(prefix="tallyfin-check-", dir=base)
        os.chmod(self.root, 0o755)
        self.environment = {"HOME": self.root, "TZ": "UTC", "TALLYFIN_CACHE_PATH": self.path("cache/scan.bin")}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        subprocess.run(["chmod", "-R", "u+rwX", self.root], stderr=subprocess.DEVNULL)
        shutil.rmtree(os.fsencode(self.root), ignore_errors=True)
        subprocess.run(["rm", "-rf", self.root], check=True)  # some paths are too long for Python's functions

    def path(self, relative):
        return os.path.join(self.root, relative)

    def transcript(self, name, home=".claude"):
        """The path of a transcript, as bytes. Creates its folder."""
        path = os.path.join(os.fsencode(self.root), os.fsencode(home), b"projects/p", os.fsencode(name))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        return path

    def add(self, name, content, home=".claude"):
        with open(self.transcript(name, home), "ab") as file:
            file.write(content)

    def temporaries(self):
        folder = self.path("cache")
        return [name for name in os.listdir(folder) if ".tmp." in name] if os.path.isdir(folder) else []


class Server:
    """Starts the server like a client; `prefix` is a command that runs it, such as strace."""

    def __init__(self, home, program=SERVER, prefix=(), environment=None, **streams):
        streams = {"stdin": subprocess.PIPE, "stdout": subprocess.PIPE, "stderr": subprocess.DEVNULL, **streams}
        self.process = subprocess.Popen([*prefix, program], env=environment or home.environment, **streams)
        self.unread = b""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        for stream in (self.process.stdin, self.process.stdout):
            with contextlib.suppress(OSError, AttributeError):
                stream.close()

    def send(self, message):
        self.process.stdin.write(message if isinstance(message, bytes) else json.dumps(message).encode() + b"\n")
        self.process.stdin.flush()

    def read(self, seconds=PATIENCE):
        """The next line of output; None at the end."""
        deadline = time.monotonic() + seconds
        output = self.process.stdout.fileno()
        parts = [self.unread]
        while b"\n" not in parts[-1]:
            if not select.select([output], [], [], max(0, deadline - time.monotonic()))[0]:
                raise AssertionError("no answer")
            part = os.read(output, 1 << 16)
            if not part:
                return None
            parts.append(part)
        answer, self.unread = b"".join(parts).split(b"\n", 1)
        return answer

    def request(self, message, seconds=PATIENCE):
        self.send(message)
        return self.read(seconds)

    def call(self, tool, seconds=PATIENCE, **arguments):
        """The text of a tool's answer."""
        message = {"id": 1, "method": "tools/call", "params": {"name": tool, "arguments": arguments or TOOLS[tool]}}
        answer = self.request(message, seconds)
        assert answer is not None, "the server ended without an answer"
        result = json.loads(answer.decode("utf-8", "strict"))["result"]
        assert not result["isError"], result
        return result["content"][0]["text"]

    def sources(self, seconds=PATIENCE):
        return Sources(self.call("tally_sources", seconds))

    def finish(self, seconds=PATIENCE):
        """Closes the input. Returns the exit status; a negative one is a signal."""
        with contextlib.suppress(OSError):
            self.process.stdin.close()
        return self.process.wait(seconds)

    def _of_proc(self, file):
        with open(f"/proc/{self.process.pid}/{file}", encoding="utf-8") as content:
            return content.read()

    def megabytes(self, which="VmRSS"):
        return int(re.search(which + r":\s+(\d+) kB", self._of_proc("status"))[1]) / 1024

    def processor_seconds(self):
        fields = self._of_proc("stat").rsplit(")", 1)[1].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.process.pid}/fd"))


def strace(*injections, path=None):
    """A prefix that runs a program under fault injection; with a path, only for calls that use it."""
    prefix = ["strace", "-f", "-qq", "-o", "/dev/null"]
    if path is not None:
        prefix += ["-P", os.fsdecode(path)]
    for injection in injections:
        prefix += ["-e", f"inject={injection}"]
    return [*prefix, "-e", "trace=" + ",".join(injection.split(":")[0] for injection in injections)]


# strace counts calls per thread. Without the save thread it counts every call of the run.
ONE_THREAD = "/^clone:error=EAGAIN"


class Sources:
    """The figures of tally_sources."""

    def __init__(self, text):
        self.text = text
        counts = {name: int(count.replace(",", ""))
                  for name, count in re.findall(r"^  ([a-z ]+?)  +([\d,]+)(?: bytes.*)?$", text, re.MULTILINE)}
        self.files = counts["files scanned"]
        self.requests = counts["unified requests"]
        self.usage_lines = counts["usage lines"]
        self.rejected = counts["lines rejected total"]
        self.longest = counts.get("longest line", 0)
        self.unreadable = counts.get("unreadable files", 0)
        self.from_cache = "started from cache: yes" in text

    def expect(self, **figures):
        found = {name: getattr(self, name) for name in figures}
        assert found == figures, f"found {found}, expected {figures}\n{self.text}"


def answer(home, prefix=(), environment=None, seconds=PATIENCE):
    """The figures of a new server, which must exit with 0."""
    with Server(home, prefix=prefix, environment=environment) as server:
        figures = server.sources(seconds)
        status = server.finish()
        assert status == 0, f"exit status {status}"
        return figures


def wait_for(condition, seconds=PATIENCE):
    deadline = time.monotonic() + seconds
    while not condition():
        assert time.monotonic() < deadline, "waited in vain"
        time.sleep(0.005)


_checks = []


def check(function):
    _checks.append(function)
    return function


def main():
    """Runs the checks of a file: all, or those named. `--short` shortens the long ones."""
    wanted = [name for name in sys.argv[1:] if not name.startswith("-")]
    signal.signal(signal.SIGPIPE, signal.SIG_IGN)
    failed = 0
    for function in _checks:
        if wanted and function.__name__ not in wanted:
            continue
        start = time.monotonic()
        try:
            figure = function()
            verdict = "ok    "
        except Exception as error:  # the other checks are still useful
            failed += 1
            verdict, figure = "FAILED", f"{type(error).__name__}: {error}"
        name = function.__name__.replace("_", " ")
        print(f"{verdict} {name}{': ' + figure if figure else ''} ({time.monotonic() - start:.1f} s)", flush=True)
    sys.exit(1 if failed else 0)


SHORT = "--short" in sys.argv
