"""Huge inputs and long sessions: the server answers or counts the loss, and returns the memory."""

import json
import os
import random
import time

from harness import SHORT, STEPPED, TOOLS, Home, Server, check, line, main

SHRINK = 20 if SHORT else 1
MEGABYTE = 1_000_000
NEAR = 8  # megabytes of growth allowed: memory kept by the allocator and the cache's data about a file


def around(server, change, undo, near=NEAR, peak=None):
    """Memory before, at most during and after a change of the home. Two refreshes see the change; then it is undone."""
    server.sources()
    before = server.megabytes()
    change()
    seconds = []
    for _ in range(2):
        start = time.monotonic()
        found = server.sources(300)
        seconds.append(time.monotonic() - start)
    undo()
    server.sources(300)
    server.sources()
    after, most = server.megabytes(), server.megabytes("VmHWM")
    assert after <= before + near, f"{before:.0f} MB before, {after:.0f} MB after, {most:.0f} MB at most"
    assert peak is None or most <= before + peak, f"{most:.0f} MB at most"
    return found, (f"{seconds[0]:.1f} s, then {seconds[1]:.2f} s, "
                   f"{before:.0f} MB before, {most:.0f} at most, {after:.0f} after")


def of_one_file(write, expected, peak=None):
    """The figure of a home with an unusual file and a normal one."""
    with Home() as home, Server(home, program=STEPPED) as server:
        home.add("good.jsonl", line(1))
        found, figure = around(server, lambda: write(home), lambda: os.remove(home.transcript("odd.jsonl")), peak=peak)
        found.expect(files=2, unreadable=0, **expected)
        return figure


@check
def a_line_of_200_megabytes_without_a_line_feed():
    size = 200 * MEGABYTE // SHRINK
    return of_one_file(lambda home: home.add("odd.jsonl", b"x" * size), {"requests": 1, "rejected": 0},
                       peak=3.2 * size / MEGABYTE + NEAR)


@check
def a_usage_line_of_200_megabytes():
    padding = b"x" * (200 * MEGABYTE // SHRINK)
    good = line(2).replace(b"{", b'{"padding":"' + padding + b'",', 1)
    return of_one_file(lambda home: home.add("odd.jsonl", good),
                       {"requests": 2, "rejected": 0, "longest": len(good) - 1},
                       peak=3.2 * len(good) / MEGABYTE + NEAR)


@check
def ten_million_tiny_lines():
    lines = 10 * MEGABYTE // SHRINK // 4
    content = b"\n{}\n[]\n\"usage\"\n" * lines
    return of_one_file(lambda home: home.add("odd.jsonl", content),
                       {"requests": 1, "usage_lines": 1 + lines, "rejected": lines}, peak=NEAR)


@check
def lines_nested_a_million_deep():
    depth = MEGABYTE
    lines = [b'{"usage":' * depth, b'{"a":"usage","x":' + b"[" * depth, b'{"usage":' + b"[" * depth + b"]" * depth + b"}",
             b'{"message":' * depth + b'"usage"' + b"}" * depth]
    content = b"".join(one.replace(b'"a":"usage"', b'"usage":1') + b"\n" for one in lines)
    return of_one_file(lambda home: home.add("odd.jsonl", content), {"requests": 1, "rejected": 4})


@check
def two_hundred_thousand_files():
    count = 200_000 // SHRINK
    with Home() as home, Server(home, program=STEPPED) as server:
        home.add("good.jsonl", line(1))

        def make():
            for folder in range(200):
                base = os.path.dirname(home.transcript(f"{folder}/x.jsonl"))
                for file in range(count // 200):
                    with open(base + f"/{file}.jsonl".encode(), "wb") as transcript:
                        transcript.write(line(2 + folder * (count // 200) + file))

        def undo():
            os.rename(home.path(".claude"), home.path("aside"))

        texts = count * 300 / MEGABYTE  # a process keeps interned texts until it exits
        found, figure = around(server, make, undo, near=NEAR + texts)
        found.expect(files=count + 1, requests=count + 1, unreadable=0)
        return figure


@check
def messages_of_100_megabytes():
    size = 100 * MEGABYTE // SHRINK
    with Home() as home, Server(home, program=STEPPED) as server:
        home.add("good.jsonl", line(1))
        server.sources()
        before = server.megabytes()
        call = b'{"id":1,"method":"tools/call","params":{"name":"tally_overview","arguments":'
        numbers = b"[" + b"7," * (size // 2) + b"7]"
        members = b"{" + b",".join(b'"%d":%d' % (i, i) for i in range(size // 15)) + b"}"
        messages = {
            "a ping with padding": b'{"padding":"' + b"x" * size + b'","id":1,"method":"ping"}',
            "numbers as an argument": call + b'{"top":' + numbers + b',"x":' + numbers + b"}}}",
            "numbers as arguments": call + numbers + b"}}",
            "members as arguments": call + members + b"}}",
            "a text as an argument": b'{"id":1,"method":"tools/call","params":{"name":"tally_cost","arguments":{"agent":"'
                                     + b"y" * size + b'"}}}',
            "no message": b"z" * size,
        }
        sizes = max(map(len, messages.values())) / MEGABYTE
        for name, message in messages.items():
            server.send(message + b"\n")
            if name != "no message":
                answer = server.read()
                assert b'"id":1' in answer and (b"agent" in answer or b"TODAY" in answer or b"{}" in answer), name
            del message
        server.sources()
        time.sleep(0.5)  # the server returns memory after it has answered
        after, most = server.megabytes(), server.megabytes("VmHWM")
        assert after <= before + NEAR, f"{before:.0f} MB before, {after:.0f} MB after, {most:.0f} MB at most"
        # The answer echoes the argument: once unchanged, and in the copies made while the answer is built.
        assert most <= before + 8 * sizes + NEAR, f"{most:.0f} MB at most for {sizes:.0f} MB"
        return f"{before:.0f} MB before, {most:.0f} at most, {after:.0f} after"


@check
def messages_nested_a_million_deep():
    depth = MEGABYTE
    with Home() as home, Server(home) as server:
        server.send(b'{"id":1,"method":"ping","params":' + b"[" * depth + b"]" * depth + b"}\n")
        server.send(b'{"a":' * depth + b"1" + b"}" * depth + b"\n")
        server.send(b'{"id":' + b'{"a":' * depth + b"\n")
        assert server.request({"id": 2, "method": "ping"}) == b'{"jsonrpc":"2.0","id":2,"result":{}}'
        assert server.finish() == 0


@check
def a_long_session_over_a_changing_home():
    calls = 1_500 if SHORT else 20_000
    warm = 1_000
    chance = random.Random(3)
    files = 40
    with Home() as home, Server(home, program=STEPPED) as server:
        pool = [line(request, session=f"session-{request % 50}", cwd=f"/nowhere/{request % 20}")
                for request in range(3_000)]

        def change():
            name = f"{chance.randrange(files)}.jsonl"
            path = home.transcript(name)
            kind = chance.randrange(6)
            if kind == 0 and os.path.exists(path):
                os.remove(path)
            elif kind == 1 and os.path.exists(path):
                os.truncate(path, os.path.getsize(path) // 2)
            elif kind == 2:
                home.add(name, b"half a line")
            else:
                home.add(name, b"".join(chance.choices(pool, k=20)))

        for request in pool:
            home.add(f"{chance.randrange(files)}.jsonl", request)
        tools = list(TOOLS)
        start = time.monotonic()
        memory = descriptors = None
        for number in range(calls):
            if number % 3 == 0:
                change()
            if number % 997 == 0:  # removes a home and restores it later
                os.rename(home.path(".claude"), home.path("aside"))
                server.sources()
                os.rename(home.path("aside"), home.path(".claude"))
            server.call(tools[number % len(tools)])
            if number == warm:
                memory, descriptors = server.megabytes(), server.descriptors()
        after = server.megabytes()
        assert server.descriptors() == descriptors, (descriptors, server.descriptors())
        assert after <= memory * 1.05 + 1, f"{memory:.1f} MB after {warm} calls, {after:.1f} MB at the end"
        return (f"{calls:,} calls in {time.monotonic() - start:.0f} s, {memory:.1f} MB after {warm:,} calls and "
                f"{after:.1f} MB at the end, {descriptors} descriptors throughout")


main()
