#!/usr/bin/python3
"""What a screen reader sees of the windows, and the program driven through it alone: every control has a name and a
role, Tab goes through them as they are laid out, fixes are ticked, run and the box at the end is dismissed; a signal
ends a run, and an open box, in order.

Usage, on a display and a session bus of its own: accessible.py PATH_OF_VNTFixdb PATH_OF_vntfix
"""
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

import pyatspi

PROGRAM, VNTFIX = sys.argv[1:3]
NAMED_ROLES = {
    pyatspi.ROLE_CHECK_BOX, pyatspi.ROLE_PUSH_BUTTON, pyatspi.ROLE_MENU, pyatspi.ROLE_MENU_ITEM,
    pyatspi.ROLE_CHECK_MENU_ITEM, pyatspi.ROLE_TEXT, pyatspi.ROLE_COMBO_BOX, pyatspi.ROLE_TABLE,
    pyatspi.ROLE_TABLE_COLUMN_HEADER, pyatspi.ROLE_PAGE_TAB, pyatspi.ROLE_PAGE_TAB_LIST, pyatspi.ROLE_PROGRESS_BAR,
    pyatspi.ROLE_FRAME, pyatspi.ROLE_DIALOG, pyatspi.ROLE_ALERT, pyatspi.ROLE_FILE_CHOOSER
}
# What accessible.sh tries once more.
NO_WINDOW = 75
NO_ROLES = {pyatspi.ROLE_INVALID, pyatspi.ROLE_UNKNOWN}


def wait(what, look, seconds=60):
    end = time.time() + seconds
    while time.time() < end:
        found = look()
        if found:
            return found
        time.sleep(0.05)
    raise AssertionError(f"{what} did not come")


def children(node):
    for i in range(node.childCount):
        child = node.getChildAtIndex(i)
        if child is not None:
            yield child


def walk(node):
    yield node
    # Of a long list the first cells stand for all.
    for number, child in enumerate(children(node)):
        if number > 60 and node.getRole() == pyatspi.ROLE_TABLE:
            break
        yield from walk(child)


def has(node, state):
    return node.getState().contains(state)


class Program:
    def __init__(self, folder, *arguments):
        environment = dict(os.environ, VNTFIX_WINDIR=folder, VNTFIX_CDRIVE=folder + "/c", XDG_CONFIG_HOME=folder + "/x")
        self.process = subprocess.Popen([PROGRAM, *arguments], env=environment, stderr=subprocess.PIPE, text=True)
        try:
            self.main = wait("the window", lambda: self.window("Fix Electronic Notification Database V7"))
        except AssertionError as error:
            self.process.kill()
            print(error, file=sys.stderr)
            sys.exit(NO_WINDOW)

    def windows(self):
        for application in children(pyatspi.Registry.getDesktop(0)):
            if application.get_process_id() == self.process.pid:
                return [w for w in children(application) if has(w, pyatspi.STATE_SHOWING)]
        return []

    def window(self, name):
        return next((w for w in self.windows() if w.name.startswith(name)), None)

    def box(self):
        boxes = (pyatspi.ROLE_DIALOG, pyatspi.ROLE_ALERT)
        return next((w for w in self.windows() if w.getRole() in boxes), None)

    def end(self, number, seconds=10):
        """The exit status after a signal."""
        self.process.send_signal(number)
        self.errors = self.process.communicate(timeout=seconds)[1]
        return self.process.returncode


def find(window, role, name):
    return next((n for n in walk(window) if n.getRole() == role and n.name == name), None)


def press(node):
    assert node is not None
    node.queryAction().doAction(0)


def check_names(window):
    controls = 0
    for node in walk(window):
        where = f"{window.name}: {node.getRoleName()} \"{node.name}\""
        assert node.getRole() not in NO_ROLES, where
        # Cells are as the rows are; the menu of a combo box is part of it.
        if node.getRole() == pyatspi.ROLE_TABLE_CELL or node.parent.getRole() == pyatspi.ROLE_COMBO_BOX:
            continue
        if node.getRole() in NAMED_ROLES or has(node, pyatspi.STATE_FOCUSABLE):
            controls += 1
            assert node.name.strip(), f"{where} has no name; it is in \"{node.parent.name}\" ({node.parent.getRoleName()})"
    return controls


def focused(window):
    return next((n for n in walk(window)
                 if has(n, pyatspi.STATE_FOCUSED) and n.getRole() != pyatspi.ROLE_FRAME), None)


def name_of_focus(window):
    node = focused(window)
    if node is None:
        return None
    # A list tells of its row.
    return node.parent.name if node.getRole() in (pyatspi.ROLE_TABLE_CELL, pyatspi.ROLE_TABLE_COLUMN_HEADER) else node.name


def tab_order(window, count):
    names = []
    for _ in range(count):
        names.append(wait("the focus", lambda: name_of_focus(window), 5))
        before = names[-1]
        pyatspi.Registry.generateKeyboardEvent(0xFF09, None, pyatspi.KEY_SYM)
        time.sleep(0.15)
        assert name_of_focus(window) != before, f"Tab does not leave {before}"
    return names


def check_order(window, expected):
    # No window manager gives the window the keys here.
    first = [n for n in walk(window) if n.name == expected[0] and "Component" in pyatspi.listInterfaces(n)]
    # Of a list not what scrolls it.
    first[-1].queryComponent().grabFocus()
    wait("the focus", lambda: name_of_focus(window) == expected[0])
    found = tab_order(window, len(expected))
    assert found == expected, f"{window.name}: {found}"


def make_sample(folder, notices):
    subprocess.run([VNTFIX, "sample", folder, "--notices", str(notices)], check=True, stdout=subprocess.DEVNULL)
    with open(folder + "/KV_SOFT.ini", "w") as settings:
        settings.write(f"[VNTFIXV7]\nCurDatabase={folder}/notices.mdb\n[GLOBAL]\nDataLevel=1\n"
                       f"VeltRefdb={folder}/reference.mdb\nEmptyDBV6={folder}/template.mdb\n")
    return folder + "/notices.mdb"


def count(file, query):
    out = subprocess.run([VNTFIX, "sql", file, "--csv", query], check=True, capture_output=True, text=True).stdout
    return int(out.split("\n")[1])


MHZ = "select count(*) as n from assgn where freq_sym = 'M' and freq_assgn > 10500"
HISTORY = "select count(*) as n from history"


def windows_and_a_run(folder):
    file = make_sample(folder, 30)
    program = Program(folder, "Active")
    main = program.main
    assert check_names(main) >= 40 + 5 + 15, "controls are missing"
    boxes = [n for n in walk(main) if n.getRole() == pyatspi.ROLE_CHECK_BOX]
    assert len(boxes) == 40, len(boxes)
    described = [re.match(r"(\d+)\. \w", b.description) for b in boxes]
    assert [int(d[1]) for d in described if d] == list(range(40)), "a fix does not tell its number and what it does"
    assert find(main, pyatspi.ROLE_MENU_ITEM, "Add Page No to Groups").description == "This tool is not part of this program."
    assert any(n.name == f"{file}, all notices" for n in walk(main)), "the status bar says nothing"
    check_order(main, [b.name for b in boxes] + ["Select All", "Clear Selection", "Preview", "Fix", "Exit"])

    # A real run.
    press(find(main, pyatspi.ROLE_PUSH_BUTTON, "Clear Selection"))
    assert not any(has(b, pyatspi.STATE_CHECKED) for b in boxes)
    press(find(main, pyatspi.ROLE_CHECK_BOX, "Convert Frequencies MHz to GHz"))
    wait("the tick", lambda: has(find(main, pyatspi.ROLE_CHECK_BOX, "Convert Frequencies MHz to GHz"), pyatspi.STATE_CHECKED))
    assert count(file, MHZ) > 0
    press(find(main, pyatspi.ROLE_PUSH_BUTTON, "Preview"))
    preview = wait("the preview", lambda: program.window("Preview"))
    assert check_names(preview) > 15
    assert count(file, MHZ) > 0, "a preview writes nothing"
    check_order(preview, ["Preview", "Tables that differ", "Notice (empty: all)", "Rows that differ", "Values of the row",
                          "Save Report...", "Save Differences...", "Close"])
    press(find(preview, pyatspi.ROLE_PUSH_BUTTON, "Close"))
    wait("the end of the preview", lambda: program.window("Preview") is None)

    press(find(main, pyatspi.ROLE_PUSH_BUTTON, "Fix"))
    box = wait("the box", program.box)
    assert any(n.name == "Fix complete." for n in walk(box))
    check_names(box)
    press(find(box, pyatspi.ROLE_PUSH_BUTTON, "OK"))
    wait("the end of the box", lambda: program.box() is None)
    assert count(file, MHZ) == 0

    press(find(main, pyatspi.ROLE_MENU_ITEM, "Last Run"))
    last = wait("the last run", lambda: program.window("Last Run"))
    assert check_names(last) > 10
    # What of a combo box has the focus is not told.
    check_order(last, ["Fixes", "Save Report...", "Close"])
    press(find(last, pyatspi.ROLE_PUSH_BUTTON, "Close"))
    wait("the end of the last run", lambda: program.window("Last Run") is None)

    # Two databases, of which the first is the open one; the second is typed.
    press(find(main, pyatspi.ROLE_MENU_ITEM, "Compare"))
    question = wait("the question which databases", lambda: program.window("Compare"))
    check_names(question)
    backup = next(name for name in os.listdir(folder) if name.endswith(".bak"))
    find(question, pyatspi.ROLE_TEXT, "Second database").queryEditableText().setTextContents(f"{folder}/{backup}")
    press(find(question, pyatspi.ROLE_PUSH_BUTTON, "OK"))
    compared = wait("the comparison", lambda: next(
        (w for w in program.windows() if w.name == "Compare" and w.getRole() == pyatspi.ROLE_FRAME), None))
    assert check_names(compared) > 10
    check_order(compared, ["Tables that differ", "Notice (empty: all)", "Rows that differ", "Values of the row", "Save...",
                           "Close"])
    press(find(compared, pyatspi.ROLE_PUSH_BUTTON, "Close"))

    # A signal closes an open box, and the window as its menu does.
    press(find(main, pyatspi.ROLE_MENU_ITEM, "Undo Last Run"))
    wait("the question", program.box)
    assert program.end(signal.SIGTERM) == 128 + signal.SIGTERM
    assert count(file, MHZ) == 0, "nobody has said yes"
    placement = subprocess.run(["grep", "-r", "MainLeft", folder + "/x"], capture_output=True)
    assert placement.returncode == 0, "its placement is saved"


def signals_in_a_run(folder):
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        work = f"{folder}/{number}"
        file = make_sample(work, 600)
        before = count(file, HISTORY)
        program = Program(work, "Active")
        press(find(program.main, pyatspi.ROLE_PUSH_BUTTON, "Fix"))
        backup = lambda: [name for name in os.listdir(work) if name.endswith(".bak")]
        wait("the run", backup)
        time.sleep(0.2)
        assert program.end(number) == 128 + number, program.process.returncode
        assert "The work was interrupted." in program.errors, program.errors
        assert "No history was written." in program.errors, program.errors
        with open(f"{work}/{backup()[0]}.json") as record:
            assert json.load(record)["outcome"] == "ended early"
        assert count(file, HISTORY) == before
        subprocess.run([VNTFIX, "check", file], check=True, stdout=subprocess.DEVNULL)
        assert subprocess.run([VNTFIX, "undo", file], stdout=subprocess.DEVNULL).returncode == 0


with tempfile.TemporaryDirectory() as home:
    windows_and_a_run(home + "/a")
    signals_in_a_run(home)
print("all is as it should be")
