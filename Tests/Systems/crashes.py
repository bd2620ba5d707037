"""Killed servers, and several servers on one cache: the next answer is right, the cache file is whole, and no
temporary files pile up."""

import os
import random
import signal
import threading
import time

from harness import ONE_THREAD, SHORT, STEPPED, Home, Server, answer, check, line, main, strace

FILES = 60
KILLS = 40 if SHORT else 500


def make_history(home, per_file=150):
    """Writes transcripts that need several writes to save. Returns the number of requests."""
    for file in range(FILES):
        home.add(f"{file}.jsonl", b"".join(line(file * per_file + i) for i in range(per_file)))
    return FILES * per_file


def change(home, requests, chance):
    """Adds a request. Sometimes also rewrites a file or adds half a line, neither of which changes a count."""
    file = chance.randrange(FILES)
    kind = chance.randrange(10)
    if kind == 0:
        with open(home.transcript(f"{file}.jsonl"), "rb") as old:
            content = old.read()
        home.add("rewritten", content)
        os.rename(home.transcript("rewritten"), home.transcript(f"{file}.jsonl"))
    elif kind == 1:
        half = line(requests)
        home.add(f"half-{requests}.jsonl", half[:50])
        answer(home)
        home.add(f"half-{requests}.jsonl", half[50:])
        return requests + 1
    home.add(f"{file}.jsonl", line(requests))
    return requests + 1


def cache_identity(home):
    """A value that differs between an old and a new cache file."""
    try:
        status = os.stat(home.path("cache/scan.bin"))
        return status.st_ino, status.st_mtime_ns
    except FileNotFoundError:
        return None


@check
def a_kill_at_any_moment_costs_nothing():
    chance = random.Random(1)
    with Home() as home:
        requests = make_history(home)
        start = time.monotonic()
        answer(home).expect(requests=requests, unreadable=0)
        usual = time.monotonic() - start
        kept = replaced = leftovers = 0
        for _ in range(KILLS):
            requests = change(home, requests, chance)
            before = cache_identity(home)
            with Server(home) as server:
                server.send({"id": 1, "method": "tools/call", "params": {"name": "tally_sources"}})
                time.sleep(chance.uniform(0, usual))
                server.process.send_signal(signal.SIGKILL)
                server.process.wait()
            if cache_identity(home) == before:
                kept += 1
            else:
                replaced += 1
            leftovers += len(home.temporaries())
            assert len(home.temporaries()) <= 1
            after = answer(home)
            after.expect(requests=requests, rejected=0, unreadable=0, from_cache=True)
            assert not home.temporaries()
        return f"{KILLS} kills, {kept} before and {replaced} behind the new cache, {leftovers} temporary files left"


@check
def a_kill_at_each_call_of_a_save_costs_nothing():
    kills = 0
    with Home() as home:
        requests = make_history(home)
        answer(home)
        for calls in ("openat", "write", "fsync", "/^rename", "close", "unlink"):
            for nth in range(1, 200):
                requests += 1
                home.add("0.jsonl", line(requests))
                with Server(home, prefix=strace(f"{calls}:signal=KILL:when={nth}", ONE_THREAD)) as server:
                    server.send({"id": 1, "method": "tools/call", "params": {"name": "tally_sources"}})
                    survived = server.read() is not None and server.finish() == 0
                    server.process.wait()  # until strace has reaped the server, its process id counts as alive
                answer(home).expect(requests=requests, rejected=0, unreadable=0, from_cache=True)
                assert not home.temporaries()
                if survived:
                    break
                kills += 1
            else:
                raise AssertionError(f"{calls}: never survived")
    return f"{kills} kills, at each open, write, flush, rename and close of a run"


def servers_at_once(count):
    """Several servers refresh and save one cache while requests are added and one server is killed repeatedly. An
    answer must contain every request written before the question, and none written after the answer."""
    rounds = 50 if SHORT else 1000
    with Home() as home:
        written = [make_history(home, per_file=40)]
        done = threading.Event()
        errors = []
        answers = [0] * count
        kills = 0

        def write():
            while not done.is_set():
                home.add(f"{written[0] % FILES}.jsonl", line(written[0]))
                written[0] += 1
                time.sleep(0.002)

        def ask(number):
            try:
                with Server(home, program=STEPPED) as server:
                    for _ in range(rounds):
                        least = written[0]
                        found = server.sources()
                        most = written[0] + 1
                        assert least <= found.requests <= most, (least, found.requests, most)
                        found.expect(unreadable=0, rejected=0)
                        answers[number] += 1
            except Exception as error:
                errors.append(error)

        threads = [threading.Thread(target=ask, args=(number,)) for number in range(count)]
        writer = threading.Thread(target=write)
        for thread in [*threads, writer]:
            thread.start()
        while any(thread.is_alive() for thread in threads):
            with Server(home) as victim:
                victim.send({"id": 1, "method": "tools/call", "params": {"name": "tally_sources"}})
                time.sleep(random.Random(kills).uniform(0, 0.05))
                kills += 1
        done.set()
        writer.join()
        assert not errors, errors
        answer(home).expect(requests=written[0], rejected=0, unreadable=0, from_cache=True)
        assert not home.temporaries()
        return f"{sum(answers)} answers, {kills} servers killed beside them, {written[0]} requests"


@check
def two_servers_on_one_cache_answer_right():
    return servers_at_once(2)


@check
def five_servers_on_one_cache_answer_right():
    return servers_at_once(5)


main()
