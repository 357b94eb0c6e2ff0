#!/usr/bin/python3
"""Tests files and prints what broke their limits: inspect.py [--profile NAME] FILE..."""

import argparse
import sys

import qatester


def show_progress(progress):
    print(f"\r{progress.whole_percent:3d} %  {progress.check:<20}", end="", file=sys.stderr)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--profile", default="general")
    parser.add_argument("files", nargs="+", metavar="FILE")
    arguments = parser.parse_args()
    failed = False
    for file in arguments.files:
        watching = show_progress if sys.stderr.isatty() else None
        try:
            report = qatester.inspect(file, profile=arguments.profile, progress=watching)
        except (OSError, ValueError) as error:
            sys.exit(f"inspect.py: {error}")
        reason = f" ({report.error})" if "error" in report else ""
        print(f"{report.file}: {report.verdict}{reason}")
        for check in report.checks:
            if check.state in ("fail", "warn"):
                print(f"  {check.name}: {check.state}")
                for event in check.events:
                    if event.breaks:
                        print(f"    {event.get('startTimecode', '')} {event.what}")
        failed = failed or report.verdict not in ("pass", "warn")
    return 1 if failed else 0


sys.exit(main())
