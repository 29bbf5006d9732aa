#!/usr/bin/env python3
"""Reports as they are written, judged by docs/run-report.schema.json with a validator of other people.

Usage: report_schema.py vntfix docs/run-report.schema.json
"""
import json
import os
import shutil
import signal
import subprocess
import sys
import tempfile
import time

import jsonschema

vntfix, schema = os.path.realpath(sys.argv[1]), json.load(open(sys.argv[2], encoding="utf-8"))
validator = jsonschema.Draft202012Validator(schema)
validator.check_schema(schema)


def report(name):
    with open(name, encoding="utf-8") as file:
        document = json.load(file)
    validator.validate(document)
    return document


def start(*arguments):
    return subprocess.Popen([vntfix, *arguments], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def run(status, *arguments):
    process = start(*arguments)
    out, err = process.communicate()
    assert process.returncode == status, (arguments, process.returncode, err)
    return out


def outcomes(document):
    return [one["outcome"] for one in document]


def ended_by(number, *arguments):
    """Ends a run by a signal as soon as it has written its report, and gives that."""
    if os.path.exists("r.json"):
        os.remove("r.json")
    process = start("fix", *arguments, "--reference", "reference.mdb", "--report", "r.json")
    while (not os.path.exists("r.json") or "running" not in open("r.json").read()) and process.poll() is None:
        time.sleep(0.001)
    time.sleep(0.1)
    process.send_signal(number)
    process.communicate()
    return report("r.json")


def one_file():
    run(0, "fix", "notices.mdb", "--only", "9", "--backup", "--report", "r.json")
    done = report("r.json")
    assert done["outcome"] == "done" and "ended" in done
    report(done["backup"] + ".json")
    run(0, "undo", "notices.mdb")
    run(0, "fix", "notices.mdb", "--only", "9", "--dry-run", "--report", "r.json")
    assert report("r.json")["kind"] == "dry run"
    run(3, "fix", "notices.mdb", "--only", "35", "--report", "r.json")
    assert report("r.json")["outcome"] == "refused"
    # On standard output it stands alone.
    printed = json.loads(run(0, "fix", "notices.mdb", "--only", "9", "--report", "-", "--format", "json"))
    validator.validate(printed)
    assert not os.path.exists("-")


def several_files():
    for name in "abc":
        shutil.copy("notices.mdb", name + ".mdb")
    run(0, "fix", "a.mdb", "b.mdb", "--only", "9", "--report", "r.json")
    assert outcomes(report("r.json")) == ["done", "done"]
    run(3, "fix", "a.mdb", "b.mdb", "missing.mdb", "--only", "9", "--report", "r.json")
    assert outcomes(report("r.json")) == ["not begun", "not begun", "refused"]


def runs_that_were_ended():
    """Killed: it says what it was doing. Asked to end: also what it has not done."""
    one = ended_by(signal.SIGKILL, "many/notices.mdb")
    assert one["outcome"] == "running" and one["file"] == "many/notices.mdb" and "ended" not in one, one
    killed = ended_by(signal.SIGKILL, "many/notices.mdb", "b.mdb")
    assert outcomes(killed) == ["running", "not begun"], killed
    asked = ended_by(signal.SIGTERM, "many/notices.mdb", "b.mdb", "c.mdb")
    assert len(asked) == 3 and outcomes(asked)[1:] == ["not begun", "not begun"], asked
    assert outcomes(asked)[0] in ("ended early", "refused"), asked
    run(0, "check", "many/notices.mdb")


def wrong_reports():
    """The schema tells right from wrong at all."""
    right = report("r.json")[0]
    for change in ({"outcome": "finished"}, {"schema_version": 2}, {"file": None}, {"extra": 1}, {"outcome": "running"}):
        assert not validator.is_valid({**right, **change}), change
    assert not validator.is_valid([right])


with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    os.environ["VNTFIX_WINDIR"] = os.environ["VNTFIX_CDRIVE"] = folder
    run(0, "sample", ".", "--notices", "10")
    run(0, "sample", "many", "--notices", "400")
    one_file()
    several_files()
    runs_that_were_ended()
    run(0, "fix", "b.mdb", "c.mdb", "--only", "9", "--report", "r.json")
    wrong_reports()
print("Reports follow their schema.")
