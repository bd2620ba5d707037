"""Clients that exit, stall or send half a message; signals; and the files and calls that a session uses."""

import fcntl
import glob
import json
import os
import re
import select
import signal
import subprocess
import termios
import time

from harness import COMMAND, PATIENCE, SERVER, TOOLS, Home, Server, check, line, main, wait_for

PING = {"id": 1, "method": "ping"}
PONG = b'{"jsonrpc":"2.0","id":1,"result":{}}'


def small_home():
    home = Home()
    home.add("a.jsonl", b"".join(line(i, session=f"session-{i}") for i in range(200)))
    return home


def quiet_seconds(server, seconds=1.0):
    """The processor time that the server uses during the given number of seconds."""
    before = server.processor_seconds()
    time.sleep(seconds)
    return server.processor_seconds() - before


@check
def an_idle_server_does_nothing():
    with small_home() as home, Server(home) as server:
        server.sources()
        used = quiet_seconds(server)
        assert used <= 0.01, used
        assert server.finish() == 0
        return f"{used:.2f} s of a processor in a second"


@check
def a_client_that_stops_reading_is_waited_for():
    with small_home() as home, Server(home) as server:
        server.sources()
        call = {"id": 7, "method": "tools/call", "params": {"name": "tally_cost", "arguments": TOOLS["tally_cost"]}}
        for _ in range(100):  # a few hundred kilobytes of answers, more than a pipe holds
            server.send(call)
        wait_for(lambda: unread(server.process.stdout) >= 40_000)  # the last page of the pipe may be partly empty
        used = quiet_seconds(server)
        assert used <= 0.01, used
        answers = {server.read() for _ in range(100)}
        assert len(answers) == 1 and json.loads(answers.pop())["id"] == 7
        assert server.finish() == 0
        return f"{used:.2f} s of a processor in a second of waiting"


@check
def nobody_to_answer_ends_it_quietly():
    with small_home() as home:
        closed = ["sh", "-c", 'exec "$0" >&-']
        for prefix, streams in ((closed, {}), ([], {"stdout": open("/dev/full", "wb")})):
            with Server(home, prefix=prefix, **streams) as server:
                server.send({**PING, "method": "tools/call", "params": {"name": "tally_overview"}})
                assert server.finish(10) == 0
        with Server(home) as server:  # the client exits before the answer
            server.process.stdout.close()
            for _ in range(3):
                try:
                    server.send({**PING, "method": "tools/list"})
                except BrokenPipeError:
                    break
            assert server.process.wait(10) == 0
        for stderr in (open("/dev/full", "wb"), subprocess.PIPE):
            with Server(home, stderr=stderr) as server:
                if stderr == subprocess.PIPE:
                    server.process.stderr.close()
                server.send(b"no message\n" * 1_000)
                assert server.request(PING) == PONG
                assert server.finish(10) == 0


@check
def input_that_ends_anywhere_ends_it():
    message = json.dumps({**PING, "method": "tools/call", "params": {"name": "tally_sources"}}).encode()
    with small_home() as home:
        for cut in (0, 1, len(message) // 2, len(message) - 1):
            with Server(home) as server:
                server.send(message[:cut])
                assert server.finish(10) == 0
                assert server.read() is None, cut
        with Server(home) as server:
            server.send(message)  # complete except for its line feed
            assert server.finish(10) == 0
            assert b"CLAUDE HOMES" in server.read()
        for place in ("/dev/null", home.root, "/proc/self/mem"):
            descriptor = os.open(place, os.O_RDONLY)
            with Server(home, stdin=descriptor) as server:
                assert server.process.wait(10) == 0, place
            os.close(descriptor)
        with Server(home, prefix=["sh", "-c", 'exec "$0" <&-'], stdin=None) as server:
            assert server.process.wait(10) == 0


@check
def streams_that_do_not_block_are_waited_on():
    with small_home() as home:
        theirs, ours = os.pipe2(os.O_NONBLOCK | os.O_CLOEXEC)
        answers, out = os.pipe2(os.O_NONBLOCK | os.O_CLOEXEC)
        with Server(home, stdin=theirs, stdout=out) as server, open(answers, "rb", buffering=0) as output:
            os.close(theirs)
            os.close(out)
            message = json.dumps({"id": 1, "method": "tools/list"}).encode() + b"\n"
            for _ in range(20):  # more than a pipe holds
                os.write(ours, message)
            wait_for(lambda: unread(output) >= 40_000)  # the last page of the pipe may be partly empty
            used = quiet_seconds(server)
            os.close(ours)
            read = b""
            while (part := read_when_ready(output)) != b"":
                read += part
            assert read.count(b"\n") == 20 and server.process.wait(10) == 0
        assert used <= 0.01, used
        return f"{used:.2f} s of a processor in a second of waiting"


def unread(output):
    """The number of unread bytes in a pipe."""
    return int.from_bytes(fcntl.ioctl(output, termios.FIONREAD, b"\0" * 4), "little")


def read_when_ready(output):
    assert select.select([output], [], [], PATIENCE)[0]
    return os.read(output.fileno(), 1 << 16)


@check
def signals_end_it_without_a_core():
    with small_home() as home:
        os.mkdir(home.path("here"))
        # A background check may have been started with some of these signals ignored.
        limit = ["env", "--default-signal=INT,HUP", "sh", "-c", 'ulimit -c unlimited; cd "$HOME/here"; exec "$0"']
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with Server(home, prefix=limit) as server:
                assert server.request(PING) == PONG
                server.send({**PING, "method": "tools/call", "params": {"name": "tally_sources"}})
                server.process.send_signal(number)
                assert server.process.wait(10) == -number
        with Server(home, prefix=limit) as server:
            assert server.request(PING) == PONG
            server.process.send_signal(signal.SIGPIPE)
            server.process.send_signal(signal.SIGXFSZ)
            assert server.request(PING) == PONG
            assert server.finish() == 0
        assert not glob.glob(home.path("here/core*"))


# Traced system calls, by group: network and process calls, and calls that change the file system.
BEYOND = r"socket|connect|bind|listen|accept|send(to|msg|mmsg)|recv(from|msg|mmsg)|fork|vfork|execve|ptrace|io_uring"
CHANGES = (r"creat|mkdir|rmdir|unlink|rename|link|symlink|mknod|chmod|fchmod|chown|fchown|lchown|truncate|ftruncate|"
           r"utime|utimes|utimensat|setxattr|fallocate|mount|chroot")
FILTER = "trace=%file,%network,%process,%desc"


def traced(home, program, arguments=(), stdin=b""):
    """The traced system calls of a run, as pairs of name and arguments, and its output."""
    log = home.path("trace")
    command = ["strace", "-f", "-y", "-s", "4096", "-o", log, "-e", FILTER, program, *arguments]
    done = subprocess.run(command, env=home.environment, input=stdin, capture_output=True, timeout=PATIENCE)
    assert done.returncode == 0, done
    with open(log, encoding="utf-8", errors="replace") as trace:
        calls = re.findall(r"^\d+ +([a-z0-9_]+)\((.*)$", trace.read(), re.MULTILINE)
    os.remove(log)
    return calls, done.stdout


def touched(home, program, arguments=(), stdin=b""):
    """The network and process calls of a run, the paths that it changed or opened for writing, and its output."""
    calls, output = traced(home, program, arguments, stdin)
    beyond, changed = set(), set()
    started = 0
    for name, rest in calls:
        base = re.sub(r"at2?$|64$", "", name)
        if name == "execve":
            started += 1
        elif re.fullmatch(BEYOND, name):
            beyond.add(name)
        if re.fullmatch(CHANGES, base) or re.fullmatch(CHANGES, name):
            changed.update(re.findall(r'"([^"]*)"', rest))
        if name.startswith("open") and re.search(r"O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_APPEND", rest):
            changed.update(re.findall(r'"([^"]*)"', rest))
    assert started == 1 and len(calls) > 30, (started, len(calls))
    return beyond, changed, output


# The messages of a client that calls every tool.
SESSION = b"".join(json.dumps(message).encode() + b"\n" for message in [
    {"id": 0, "method": "initialize"}, {"method": "notifications/initialized"}, {"id": 1, "method": "tools/list"},
    *({"id": tool, "method": "tools/call", "params": {"name": tool, "arguments": arguments}}
      for tool, arguments in TOOLS.items())])


@check
def only_questions_about_kinds_open_sidecars():
    with small_home() as home:
        home.add("s/subagents/agent-a1.jsonl", line(201).replace(b'"sessionId"', b'"agentId": "a1", "sessionId"'))
        home.add("s/subagents/agent-a1.meta.json", b'{"agentType": "Explore"}')
        opens = lambda calls: any("agent-a1.meta.json" in rest for _, rest in calls)
        calls, output = traced(home, SERVER, stdin=SESSION)
        assert output.count(b'"result"') == 2 + len(TOOLS) and not opens(calls)
        assert not opens(traced(home, COMMAND, ["table", "--by", "agent", "all"])[0])
        assert opens(traced(home, COMMAND, ["table", "--by", "kind", "all"])[0]), "the check sees nothing"


@check
def no_call_reaches_the_network_or_writes_anything_but_the_cache():
    with small_home() as home:
        own = re.compile(re.escape(home.path("cache/scan.bin")) + r"(\.tmp\.\d+\.\d+)?")
        folders = {home.root, home.path("cache"), "/tmp", *os.path.split(home.root)}
        beyond, changed, output = touched(home, SERVER, stdin=SESSION)
        assert output.count(b'"result"') == 2 + len(TOOLS) and b'"isError":true' not in output
        assert not beyond, beyond
        assert any(own.fullmatch(path) for path in changed), "nothing saved: the check sees nothing"
        strangers = [path for path in changed if not own.fullmatch(path) and path not in folders]
        assert not strangers, strangers

        reports = home.path("reports")
        runs = [[], ["status"], ["export", "csv", "--axis", "project"], ["export", "provenance"], ["export", "summary"],
                ["export", "html"], ["verify"], ["scan"], ["scan", "--serial"], ["__complete", "cost", "--project", ""],
                ["export", "csv", "--all", "--out", reports]]
        for arguments in runs:
            beyond, changed, _ = touched(home, COMMAND, arguments)
            strangers = [path for path in changed if not own.fullmatch(path) and path not in folders
                         and not (reports in arguments and path.startswith(reports))]
            assert not beyond and not strangers, (arguments, beyond, strangers)
        return f"{len(TOOLS)} tools and {len(runs)} commands"


main()
