"""Runs the examples in the documentation and checks its links.

usage: docs.py SOURCE FROZEN MAKE_CORPUS

A page's fenced blocks are used in their order, in one folder, over a copy of the sample home:

  ```console     lines "$ command", each above what it prints; a line "..." stands for any lines. Every command must
                 succeed; a page shows another exit status with `; echo "status $?"`.
  ```tool        a tool's name and arguments, above its answer
  ```LANG FILE   a file that a later command reads; or, if an earlier one wrote it, the same as JSON
  ```json        must parse; the command of a status line must run
  ```sh          not run: needs root, a registry or the client. Scripts of this project must exist.

In running text, `tallyfin ...` must be a command line that is understood, unless it has PLACEHOLDERS.
"""
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, FROZEN, MAKE_CORPUS = (pathlib.Path(path).resolve() for path in sys.argv[1:4])
NOW = "1795369320"  # 2026-11-22 17:42 UTC
SHOWN_HOME = "/home/ada"  # the home directory shown in the pages
EXAMPLES = ["README.md"] + [f"docs/{name}.md" for name in ("COMMAND", "EXPORTS", "FAQ", "PRICES", "TOOLS")]
FENCE = re.compile(r"^```(\w*) ?(\S*)\n(.*?)^```$", re.M | re.S)


class Sample:
    """A folder with the sample home, the programs and the files that examples write."""

    def __init__(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(dir="/tmp", prefix="tallyfin-docs-"))  # paths of fixed length
        self.home, self.work, programs = (self.folder / name for name in ("home", "work", "bin"))
        subprocess.run([MAKE_CORPUS, "--out", self.home, "--megabytes", "24", "--days", "10", "--repositories",
                        "--now", NOW], check=True, stdout=subprocess.DEVNULL)
        for folder in (self.work, programs):
            folder.mkdir()
        for name in ("tallyfin", "TallyfinMCP"):
            (programs / name).symlink_to(FROZEN)
        self.environment = {"PATH": f"{programs}:{os.environ['PATH']}", "HOME": str(self.home), "TZ": "UTC",
                            "LANG": "C.UTF-8", "TALLYFIN_TEST_NOW": NOW}

    def close(self):
        shutil.rmtree(self.folder)

    def run(self, command, given=""):
        """Runs a shell command line. Returns its output on both streams and its status."""
        done = subprocess.run(["bash", "-c", command], input=given, cwd=self.work, env=self.environment,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        home = str(self.home)
        printed = done.stdout.replace(home, SHOWN_HOME)
        return printed.replace(re.sub(r"[^\w]|_", "-", home), re.sub(r"/", "-", SHOWN_HOME)), done.returncode

    def call(self, line):
        """The answer of the server to `tool {arguments}`."""
        name, _, arguments = line.partition(" ")
        request = {"id": 1, "method": "tools/call", "params": {"name": name, "arguments": json.loads(arguments or "{}")}}
        return json.loads(self.run("TallyfinMCP", json.dumps(request) + "\n")[0])["result"]["content"][0]["text"]


def fits(shown, printed):
    """Whether the printed lines match those in a page, in which "..." matches any lines."""
    if not shown:
        return not printed
    if shown[0] == "...":
        return any(fits(shown[1:], printed[at:]) for at in range(len(printed) + 1))
    return bool(printed) and shown[0] == printed[0].rstrip() and fits(shown[1:], printed[1:])


def steps(block, mark):
    """The lines that start with the mark (removed), each with the lines below it."""
    parts = re.split(rf"^{re.escape(mark)}(.*)\n", block, flags=re.M)
    return zip(parts[1::2], (part.splitlines() for part in parts[2::2]))


def prose(text):
    """A page without its fenced blocks."""
    return FENCE.sub("", text)


def anchors(text):
    headings = re.findall(r"^#+ (.*)$", prose(text), re.M)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


class Pages(unittest.TestCase):
    def example(self, sample, language, file, block):
        if file and (sample.work / file).exists():
            self.assertEqual(json.loads(block), json.loads((sample.work / file).read_text()))
        elif file:
            (sample.work / file).write_text(block)
        if language == "console":
            for command, shown in steps(block, "$ "):
                if any(tool in command and not shutil.which(tool) for tool in ("gnuplot", "jq")):
                    continue
                printed, status = sample.run(command)
                self.assertEqual(status, 0, f"{command}\n{printed}")
                self.assertTrue(not shown or fits(shown, printed.splitlines()), f"{command} prints\n{printed[:4000]}")
        elif language == "tool":
            for line, shown in steps(block, "tally_"):
                printed = sample.call("tally_" + line)
                self.assertTrue(fits(shown, printed.splitlines()), f"tally_{line} answers\n{printed[:4000]}")
        elif language == "json":
            status_line = json.loads(block).get("statusLine")
            if status_line:
                printed, status = sample.run(status_line["command"], '{"session_id": "none"}')
                self.assertEqual((status, printed.count("\n")), (0, 1), printed)
        elif language == "sh":
            for script in re.findall(r"^(?:scripts|\.ci)/\S+", block, re.M):
                self.assertTrue(os.access(SOURCE / script, os.X_OK), script)
        else:
            self.assertIn(language, ("gnuplot", "cpp", "cmake"))

    def test_examples_run_and_print_what_is_shown(self):
        for page in EXAMPLES:
            text = (SOURCE / page).read_text()
            sample = Sample()
            self.addCleanup(sample.close)
            with self.subTest(page):
                self.assertNotIn("\n    $ ", text)
                for language, file, block in FENCE.findall(text):
                    self.example(sample, language, file, block)
                for command in re.findall(r"`(tallyfin(?: [^`]+)?)`", prose(text)):
                    if not re.search(r"\b[A-Z]{2,}\b|[{|]", command):
                        self.assertNotIn(sample.run(command)[1], (2, 127), command)

    def test_links_lead_to_files_and_headings(self):
        for path in [*SOURCE.glob("*.md"), *SOURCE.glob("docs/*.md")]:
            for link in re.findall(r"\]\(([^)]+)\)", prose(path.read_text())):
                name, _, anchor = link.partition("#")
                if not name.startswith("http"):
                    target = path.parent / name if name else path
                    self.assertTrue(target.exists(), f"{path.name}: {link}")
                    self.assertTrue(not anchor or anchor in anchors(target.read_text()), f"{path.name}: {link}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
