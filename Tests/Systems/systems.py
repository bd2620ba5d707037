"""Failing disks, files and folders: every answer has the right counters, and nothing hangs."""

import os
import socket
import subprocess
import threading
import time

from harness import BUILD, COMMAND, ONE_THREAD, PATIENCE, Home, Server, answer, check, line, main, strace

ROOT = os.geteuid() == 0
NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if ROOT else []
MEBIBYTE = 1 << 20


def long_transcript(requests):
    """Lines of 64 KiB, so that a file of some mebibytes takes several reads."""
    padding = b'"padding":"' + b"x" * 65_000 + b'",'
    return b"".join(line(request).replace(b"{", b"{" + padding, 1) for request in range(requests))


@check
def a_disk_that_fails_in_the_middle_of_a_file_loses_only_the_rest():
    with Home() as home:
        home.add("bad.jsonl", long_transcript(40))
        home.add("good.jsonl", line(100))
        bad = home.transcript("bad.jsonl")
        whole_lines = MEBIBYTE // len(long_transcript(1))  # in the first read
        with Server(home, prefix=strace("pread64:error=EIO:when=2+", path=bad)) as server:
            server.sources().expect(files=2, unreadable=1, requests=whole_lines + 1, rejected=0)
        answer(home).expect(files=2, unreadable=0, requests=41, usage_lines=41)
        with Server(home, prefix=strace("openat:error=EIO", path=bad)) as server:
            server.sources().expect(files=2, requests=41)  # unchanged: not opened
        return f"{whole_lines} of 40 lines, and all 40 at the next look"


@check
def a_file_that_vanishes_between_listing_and_reading_is_told():
    with Home() as home:
        home.add("a.jsonl", line(1))
        home.add("b.jsonl", line(2))
        gone = home.transcript("a.jsonl")
        with Server(home, prefix=strace("openat:error=ENOENT", path=gone)) as server:
            server.sources().expect(files=2, unreadable=1, requests=1)
        answer(home).expect(files=2, unreadable=0, requests=2)


@check
def a_file_that_shrinks_while_it_is_read_is_read_anew():
    with Home() as home:
        home.add("a.jsonl", long_transcript(40))
        path = home.transcript("a.jsonl")
        threading.Timer(0.3, os.truncate, [path, len(long_transcript(20))]).start()
        with Server(home, prefix=strace("pread64:delay_exit=600000:when=1", path=path)) as server:
            server.sources().expect(files=1, unreadable=0, requests=20, usage_lines=20)
        answer(home).expect(requests=20, usage_lines=20, rejected=0)


@check
def a_file_that_grows_without_end_has_an_end():
    with Home() as home:
        path = home.transcript("a.jsonl")
        home.add("a.jsonl", long_transcript(32))
        block = b"".join(line(100 + i) for i in range(10_000))  # more than one read returns
        blocks = 0
        done = threading.Event()

        def grow():
            nonlocal blocks
            while not done.is_set():
                home.add("a.jsonl", block)
                blocks += 1
                time.sleep(0.005)

        writer = threading.Thread(target=grow)
        with Server(home, prefix=strace("pread64:delay_enter=30000", path=path)) as server:
            writer.start()
            first = server.sources(20)
            during = blocks
            done.set()
            writer.join()
        assert 32 <= first.usage_lines < 32 + 10_000 * during and during > 2, (first.usage_lines, during)
        answer(home).expect(requests=10_032, usage_lines=32 + 10_000 * blocks, rejected=0, unreadable=0)
        return f"{first.usage_lines:,} lines, while {10_000 * during:,} were appended; the next look has all"


@check
def a_save_that_fails_leaves_the_old_cache_and_no_trace():
    # Tests more positions than a run has calls of each kind.
    faults = [("write", "ENOSPC", 12), ("write", "EIO", 12), ("fsync", "EIO", 2), ("close", "EIO", 40),
              ("/^rename", "EXDEV", 2), ("/^rename", "EACCES", 2), ("openat", "EMFILE", 40)]
    runs = 0
    with Home() as home:
        home.add("a.jsonl", b"".join(line(i) for i in range(4_000)))
        answer(home)
        with open(home.path("cache/scan.bin"), "rb") as file:
            cache = file.read()
        requests = 4_000
        home.add("a.jsonl", line(requests))
        for call, error, positions in faults:
            for nth in range(1, positions + 1):
                # The temporary file's name contains the process id, which is not known yet. All calls count
                # except those on the standard streams, so a fault may also hit a log line or the answer.
                with Server(home, prefix=strace(f"{call}:error={error}:when={nth}", ONE_THREAD)) as server:
                    server.send({"id": 1, "method": "tools/call", "params": {"name": "tally_sources"}})
                    text = server.read()
                    status = server.finish()
                if status not in (0, 127):  # 127: a library could not be opened
                    raise AssertionError(f"{call} {error} {nth}: status {status}")
                if text is not None and b"unified requests      4,001" not in text and call != "openat":
                    raise AssertionError(f"{call} {error} {nth}: {text}")
                assert not home.temporaries(), (call, error, nth)
                runs += 1
                with open(home.path("cache/scan.bin"), "rb") as file:
                    if file.read() != cache:  # this run saved the cache
                        with open(home.path("cache/scan.bin"), "wb") as back:
                            back.write(cache)
        answer(home).expect(requests=4_001, from_cache=True)
    return f"{runs} runs with one failed call each"


@check
def a_full_disk_costs_only_the_cache():
    with Home() as home:
        home.add("a.jsonl", b"".join(line(i) for i in range(4_000)))
        os.mkdir(home.path("cache"))
        inside = 'mount -t tmpfs -o size=64k tmpfs "$TALLYFIN_CACHE_PATH.d" && exec "$0"'
        environment = {**home.environment, "PATH": os.environ["PATH"],
                       "TALLYFIN_CACHE_PATH": home.path("cache/scan.bin")}
        os.mkdir(home.path("cache/scan.bin.d"))
        inside = inside.replace("exec", 'TALLYFIN_CACHE_PATH=$TALLYFIN_CACHE_PATH.d/scan.bin exec')
        own_mounts = ["unshare", "-m" if ROOT else "-rm"]
        has_mounts = subprocess.run([*own_mounts, "true"], stderr=subprocess.DEVNULL).returncode == 0
        for _ in range(2 if has_mounts else 0):
            answer(home, prefix=[*own_mounts, "sh", "-c", inside], environment=environment).expect(
                requests=4_000, from_cache=False)
        limited = ["sh", "-c", 'ulimit -f 8; exec "$0"']
        answer(home, prefix=limited).expect(requests=4_000, from_cache=False)
        assert not home.temporaries() and not os.path.exists(home.path("cache/scan.bin"))
        return "a disk of 64 KB, a limit of 4 KB" if has_mounts else "a limit of 4 KB; this machine lets nobody mount"


@check
def a_slow_disk_is_waited_for_once():
    with Home() as home:
        home.add("a.jsonl", line(1))
        with Server(home, prefix=strace("fsync:delay_exit=15500000")) as server:  # longer than answers stay fresh
            seconds = []
            for _ in range(2):
                start = time.monotonic()
                found = server.sources()
                seconds.append(time.monotonic() - start)
        assert seconds[0] > 15 and seconds[1] < 5 and "1 new" in found.text, (seconds, found.text)


@check
def a_cache_that_cannot_be_written_costs_only_time():
    with Home() as home:
        home.add("a.jsonl", line(1))
        open(home.path("file"), "w").close()
        os.makedirs(home.path("is-a-folder"))
        os.mkfifo(home.path("fifo"))
        os.symlink(home.path("nowhere/at/all"), home.path("dangling"))
        os.makedirs(home.path("read-only"), 0o555)
        places = ["file/below/scan.bin", "is-a-folder", "fifo", "read-only/scan.bin", "read-only/deep/er/scan.bin",
                  "x" * 300, "/".join(["y" * 200] * 30), "/dev/full", "/dev/null", "/proc/1/scan.bin", "/"]
        for place in places:
            environment = {**home.environment, "TALLYFIN_CACHE_PATH": home.path(place)}
            for prefix in ([], NOBODY):
                answer(home, prefix=prefix, environment=environment).expect(requests=1, files=1)
        environment = {**home.environment, "TALLYFIN_CACHE_PATH": home.path("dangling")}
        answer(home, environment=environment)
        answer(home, environment=environment).expect(requests=1, from_cache=True)  # a file replaced the link
        default = {"HOME": home.root}
        open(home.path(".cache"), "w").close()
        answer(home, environment=default).expect(requests=1, from_cache=False)
        answer(home, prefix=NOBODY, environment=default).expect(requests=1, from_cache=False)
        assert os.path.getsize("/dev/full") == 0 and not os.path.isfile("/dev/null")
        return f"{len(places) * 2 + 4} places"


@check
def what_may_not_be_read_is_told_or_passed_over():
    with Home() as home:
        home.add("a.jsonl", line(1))
        home.add("closed.jsonl", line(2))
        home.add("closed/b.jsonl", line(3))
        home.add("listed-only/c.jsonl", line(4))
        home.add("w.jsonl", line(5), home=".claude-work")
        os.chmod(home.transcript("closed.jsonl"), 0)
        os.chmod(os.path.dirname(home.transcript("closed/b.jsonl")), 0)
        os.chmod(os.path.dirname(home.transcript("listed-only/c.jsonl")), 0o444)
        os.chmod(home.path(".claude-work"), 0)
        answer(home, prefix=NOBODY).expect(files=3, requests=1, unreadable=1)
        if ROOT:
            answer(home).expect(files=5, requests=5, unreadable=0)


@check
def tests_that_permissions_of_root_would_skip_hold():
    for tests in ("PlatformTests", "CoreTests"):
        program = os.path.join(BUILD, "Tests", tests)
        done = subprocess.run([*NOBODY, program, "--gtest_filter=*Unreadable*:*Readable*:*Save*"], cwd="/",
                              capture_output=True, timeout=PATIENCE)
        assert done.returncode == 0 and b"PASSED" in done.stdout and b"SKIPPED" not in done.stdout, done.stdout.decode()


@check
def what_is_no_transcript_is_counted_and_never_waited_for():
    with Home() as home:
        home.add("a.jsonl", line(1))
        folder = os.path.dirname(home.transcript("a.jsonl"))
        with socket.socket(socket.AF_UNIX) as listener:
            os.chdir(folder)  # socket paths have few bytes
            listener.bind("socket.jsonl")
            os.chdir("/")
            os.mkfifo(folder + b"/fifo.jsonl")
            os.mkdir(folder + b"/directory.jsonl")
            unreadable = 3
            if ROOT:
                os.mknod(folder + b"/zero.jsonl", 0o20666, os.makedev(1, 5))
                os.mknod(folder + b"/disk.jsonl", 0o60666, os.makedev(7, 0))
                unreadable += 2
            for name, target in {"device": "/dev/zero", "terminal": "/dev/ptmx", "folder": "/usr"}.items():
                os.symlink(target, folder + f"/{name}.jsonl".encode())
                unreadable += 1
            for name, target in {"loop": "loop.jsonl", "there": "back.jsonl", "back": "there.jsonl",
                                 "dangling": "/nowhere/at/all"}.items():
                os.symlink(target, folder + f"/{name}.jsonl".encode())
            os.symlink(folder, folder + b"/up")
            os.symlink("..", folder + b"/parent.jsonl")
            unreadable += 1
            with Server(home) as server:
                server.sources().expect(files=unreadable + 5, unreadable=unreadable, requests=1)
                provenance = server.call("tally_provenance")
                assert f"UNREADABLE FILES            {unreadable} files" in provenance
        for kind in (".claude-work", ".claude-outlook/projects"):
            os.makedirs(os.path.dirname(home.path(kind)), exist_ok=True)
            open(home.path(kind), "w").close()
        os.mkfifo(home.path(".claude-yahoo"))
        answer(home).expect(requests=1)
        for place in ("file", "/dev/null", "nowhere", "x" * 5_000, "\udcff\udcfe"):
            environment = {**home.environment, "TALLYFIN_HOME": home.path(place)}
            answer(home, environment=environment).expect(files=0, requests=0)
        return f"{unreadable} kinds unreadable"


@check
def long_and_odd_names_are_bytes():
    with Home() as home:
        names = [b"line\nfeed.jsonl", b"\xff\xfe.jsonl", b"tab\t\"quote\\.jsonl", b"\x01\x7f.jsonl", "e\u0301.jsonl".encode(),
                 "\u00e9.jsonl".encode(), b"-rf *.jsonl", b"\xed\xa0\x80.jsonl", b"n" * 249 + b".jsonl"]
        for number, name in enumerate(names):
            home.add(name, line(number))
        deep = b"/".join([b"d" * 200] * ((4_000 - len(home.transcript("x"))) // 201)) + b"/"
        deep += b"e" * (4_000 - len(home.transcript(deep)) - 6) + b".jsonl"
        home.add(deep, line(100))
        assert len(home.transcript(deep)) == 4_000
        # Longer than the system accepts as a path, so it is created in steps.
        os.chdir(os.path.dirname(home.transcript(deep)))
        for _ in range(3):
            os.mkdir("f" * 200)
            os.chdir("f" * 200)
        with open("beyond.jsonl", "wb") as file:
            file.write(line(200))
        os.chdir("/")
        with Server(home) as server:
            server.sources().expect(files=len(names) + 1, requests=len(names) + 1, unreadable=0)
            text = server.call("tally_provenance", period="all", limit=50)
            assert "\ufffd" in text and "d" * 200 in text
        answer(home).expect(requests=len(names) + 1, from_cache=True)
        done = subprocess.run([COMMAND, "provenance"], env=home.environment, capture_output=True, timeout=PATIENCE,
                              check=True)
        done.stdout.decode("utf-8", "strict")


main()
