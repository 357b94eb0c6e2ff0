#!/usr/bin/env python3
"""Tests the Python package against the client, on clips that are made here."""

import json
import os
import pathlib
import re
import signal
import subprocess
import sys
import tempfile
import threading
import unittest
import warnings

import qatester

CLIENT = os.environ["QATESTER_CLIENT"]
EXAMPLE = os.environ["QATESTER_EXAMPLE"]


def make_clip(path, seconds):
    subprocess.run(
        ["ffmpeg", "-nostdin", "-v", "error", "-f", "lavfi", "-i", f"testsrc2=size=64x48:rate=25:duration={seconds}",
         "-f", "lavfi", "-i", f"sine=duration={seconds}", "-c:v", "ffv1", "-pix_fmt", "yuv420p", "-c:a", "flac", path],
        check=True)


def client_report(*arguments):
    run = subprocess.run([CLIENT, "--quiet", "--json", "-", *map(str, arguments)], capture_output=True,
                         check=False)
    return json.loads(run.stdout)["files"][0]


def timeless(report):
    for check in report["checks"]:
        del check["seconds"]
    return report


class Bindings(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        cls.folder = pathlib.Path(folder.name)
        cls.clip = cls.folder / "clip.mkv"
        make_clip(cls.clip, 2)
        # Pictures enough for every test of a stop, of which a few are coded.
        few = cls.folder / "few.mkv"
        cls.long_clip = cls.folder / "long.mkv"
        for command in (
            ("-f", "lavfi", "-i", "testsrc2=size=720x576:rate=25:duration=1", "-c:v", "mpeg2video", few),
            ("-stream_loop", "399", "-i", few, "-c", "copy", cls.long_clip),
        ):
            subprocess.run(["ffmpeg", "-nostdin", "-v", "error", *command], check=True)

    def stopped(self, report):
        """The reading ended before the file did: there are 10000 pictures."""
        self.assertEqual(report.check("decoding").state, "not-measured")
        self.assertLess(report.measured.pictures, 10000)

    def test_a_report_is_the_client_s(self):
        for profile in ("general", "classic", "ebu-r128"):
            self.assertEqual(timeless(qatester.inspect(self.clip, profile=profile)),
                             timeless(client_report("--profile", profile, self.clip)))

    def test_a_report_of_what_is_no_media_file_is_the_client_s(self):
        text = self.folder / "text.mov"
        text.write_text("no media\n")
        report = qatester.inspect(text)
        self.assertIn("cannot be opened as a media file", report.error)
        self.assertEqual(timeless(report), timeless(client_report("--profile", "general", text)))

    def test_checks_and_settings_are_those_of_the_client(self):
        arguments = ("--profile", "general", "--checks", "black,frame-rate", "--set", "BlackSeconds=0.5", "--set",
                     "FrameRateFrameChecks=10")
        settings = {"BlackSeconds": 0.5, "FrameRateFrameChecks": 10}
        report = timeless(qatester.inspect(self.clip, checks=["black", "frame-rate"], settings=settings))
        self.assertEqual(report, timeless(client_report(*arguments, self.clip)))
        self.assertEqual(report.check("frame-rate").result.frameBudget, 10)
        self.assertEqual(report, timeless(qatester.inspect(
            os.fsencode(self.clip), checks="black, frame-rate", settings=settings, threads=1)))

    def test_without_a_profile_classic_checks_judge(self):
        report = timeless(qatester.inspect(self.clip, profile=None, checks=["frame-rate"]))
        self.assertEqual(report, timeless(client_report("--checks", "frame-rate", self.clip)))
        self.assertNotIn("profile", report)

    def test_a_settings_file_holds_and_is_reviewed(self):
        file = self.folder / "house.settings"
        file.write_text("FrameRateFrameChecks=7\nnonsense=1\n")
        with self.assertWarnsRegex(qatester.SettingsWarning, r"house\.settings:2: 'nonsense' is no key") as seen:
            report = qatester.inspect(self.clip, checks="frame-rate", settings=file)
        self.assertEqual(seen.filename, __file__)
        self.assertEqual(report.check("frame-rate").result.frameBudget, 7)

    def test_a_settings_file_can_stand_for_a_profile(self):
        file = self.folder / "strict.settings"
        file.write_text("Severity.black=warn\n" + "".join(
            f"Severity.{check.name}=off\n" for check in qatester.checks() if check.name != "black"))
        report = qatester.inspect(self.clip, profile=file)
        self.assertEqual([check.name for check in report.checks], ["black"])
        self.assertEqual(report.profile, str(file))

    def test_fields_are_attributes(self):
        report = qatester.inspect(self.clip, checks="streams")
        self.assertIsInstance(report, dict)
        self.assertEqual(report.media.streams[0].codec, "ffv1")
        self.assertIs(report.check("streams"), report["checks"][0])
        with self.assertRaisesRegex(AttributeError, "nothing"):
            report.nothing
        with self.assertRaises(KeyError):
            report.check("black")

    def test_a_file_that_cannot_be_opened_raises_what_open_raises(self):
        missing = self.folder / "missing.mov"
        with self.assertRaises(FileNotFoundError) as raised:
            qatester.inspect(missing)
        self.assertEqual(str(raised.exception.filename), str(missing))
        with self.assertRaises(IsADirectoryError):
            qatester.inspect(self.folder)
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        with self.assertRaisesRegex(OSError, "Is not a regular file.*pipe"):
            qatester.inspect(str(pipe))
        with self.assertRaises(FileNotFoundError):
            qatester.inspect(self.clip, settings=missing)

    def test_what_is_not_known_is_a_value_error_that_names_it(self):
        for words, arguments in (
            ("'ebu' is neither a profile", {"profile": "ebu"}),
            ("profile: an empty name", {"profile": ""}),
            ("unknown check 'blck'", {"checks": ["black", "blck"]}),
            ("'black' is named twice", {"checks": "black,black"}),
            ("no check is named", {"checks": []}),
            ("'BlackSecond' is no key, perhaps BlackSeconds", {"settings": {"BlackSecond": 1}}),
            ("'many' is no number", {"settings": {"BlackSeconds": "many"}}),
            ("threads: -1", {"threads": -1}),
        ):
            with self.assertRaisesRegex(ValueError, re.escape(words)):
                qatester.inspect(self.clip, **arguments)

    def test_progress_is_told_up_to_the_end(self):
        told = []
        qatester.inspect(self.clip, checks=["frame-timing", "black"], progress=told.append)
        self.assertEqual(told[0], ("frame-timing", 0, 0, None))
        self.assertEqual({one.whole_percent for one in told[-1:]}, {100})
        whole = [one.whole_percent for one in told]
        self.assertEqual(whole, sorted(whole))

    def test_progress_is_told_on_the_calling_thread(self):
        threads = set()
        qatester.inspect(self.clip, checks="black", progress=lambda _: threads.add(threading.get_ident()))
        self.assertEqual(threads, {threading.get_ident()})

    def test_an_exception_of_progress_ends_the_run(self):
        class Enough(Exception):
            pass

        asked = []

        def fail(progress):
            asked.append(progress)
            raise Enough("of this")

        with self.assertRaisesRegex(Enough, "of this"):
            qatester.inspect(self.long_clip, progress=fail)
        self.assertEqual(len(asked), 1)

    def test_a_callable_stops(self):
        self.stopped(qatester.inspect(self.long_clip, checks="decoding", stop=lambda: True))

    def test_an_event_stops_from_another_thread(self):
        # No thread has to give way on its own account: the other one gets the interpreter when the
        # run leaves it alone, after it has begun.
        self.addCleanup(sys.setswitchinterval, sys.getswitchinterval())
        sys.setswitchinterval(1000)
        began, event = threading.Event(), threading.Event()
        other = threading.Thread(target=lambda: began.wait() and event.set())
        other.start()
        self.stopped(qatester.inspect(self.long_clip, checks="decoding", progress=lambda _: began.set(), stop=event))
        other.join()

    def test_ctrl_c_ends_the_run(self):
        with self.assertRaises(KeyboardInterrupt):
            qatester.inspect(self.long_clip, progress=lambda _: os.kill(os.getpid(), signal.SIGINT))

    def test_threads_test_files_at_once(self):
        reports = [None, None]

        def test(number):
            reports[number] = timeless(qatester.inspect(self.clip))

        threads = [threading.Thread(target=test, args=(number,)) for number in range(2)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual(reports[0], reports[1])

    def test_displays_are_written(self):
        folder = self.folder / "shots" / "of-the-clip"
        qatester.inspect(self.clip, checks="chroma", displays=folder,
                         settings={"QATesterSlateSeconds": 0, "ChromaFrameChecks": 2})
        self.assertEqual({path.suffix for path in folder.iterdir()}, {".png"})

    def test_lists_are_the_client_s(self):
        def said(option):
            return subprocess.run([CLIENT, option], check=True, capture_output=True, text=True).stdout

        self.assertEqual([(check.name, check.family) for check in qatester.checks()],
                         [tuple(line.split()[:2]) for line in said("--list-checks").splitlines()])
        self.assertEqual([profile.name for profile in qatester.profiles()],
                         [line.split()[0] for line in said("--list-profiles").splitlines()])
        version = said("--version")
        for name, number in qatester.versions().items():
            self.assertIn(f"{name} {number}\n", version)
        self.assertEqual(qatester.versions()["qatester"], qatester.__version__)

    def test_the_example_prints_verdicts(self):
        run = subprocess.run([sys.executable, EXAMPLE, self.clip, self.folder / "missing.mov"], capture_output=True,
                             text=True, check=False)
        self.assertRegex(run.stdout, r"^\S*clip\.mkv: (pass|warn)\n")
        self.assertEqual((run.returncode, run.stderr),
                         (1, f"inspect.py: [Errno 2] No such file or directory: '{self.folder}/missing.mov'\n"))


if __name__ == "__main__":
    warnings.simplefilter("error")
    unittest.main()
