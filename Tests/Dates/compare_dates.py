"""Asks the programs of both hosts the same questions about dates, in seven zones, and explains where
they differ.

Usage: compare_dates.py NATIVE OTHER...    the program of Linux, the command line of the other one

Three things may differ. Linux knows what a zone's rules were at any time, Windows applies those of
today to all years: so the same questions go to the program of Linux a second time, in a zone that has
had today's rules always, as the last line of the zone's file writes them. Where Wine has no rules of
a zone it makes them of this year's two changes: they fall on the same days of all years, and summer is
an hour, which shows in Lord Howe's half hour. And Wine takes years above 30827, where the published
range ends.
"""

import calendar
import datetime
import os
import pathlib
import subprocess
import sys
import zoneinfo

ZONES = ["UTC", "Europe/Berlin", "America/New_York", "Asia/Kolkata", "Australia/Lord_Howe",
         "America/Sao_Paulo", "Pacific/Apia"]
DAY = 86400
FIRST, LAST = 0, calendar.timegm((2100, 1, 1, 0, 0, 0))
AROUND = [-7200, -3601, -3600, -1800, -1, 0, 1, 1800, 3599, 3600, 7200]


def changes_of(zone, first_year, last_year):
    """The moments at which a zone's offset changes."""
    def offset(moment):
        return datetime.datetime.fromtimestamp(moment, zone).utcoffset()

    moment = calendar.timegm((first_year, 1, 1, 0, 0, 0))
    end = calendar.timegm((last_year, 1, 1, 0, 0, 0))
    while moment < end:
        if offset(moment) != offset(moment + DAY):
            low, high = moment, moment + DAY
            while high - low > 1:
                middle = (low + high) // 2
                low, high = (middle, high) if offset(middle) == offset(low) else (low, middle)
            yield high
        moment += DAY


def stamp_question(date):
    return f"stamp {date.year} {date.month} {date.day} {date.hour} {date.minute} {date.second}"


def questions_of(zone):
    for moment in range(FIRST, LAST, 37 * DAY + 3601):
        yield f"date {moment * 1000 + 999}"
    for moment in range(FIRST + 13, LAST, 41 * DAY + 5407):
        yield stamp_question(datetime.datetime.fromtimestamp(moment, datetime.timezone.utc))
    for change in changes_of(zone, 2006, 2026):
        before = datetime.datetime.fromtimestamp(change - 1, zone).replace(tzinfo=None)
        for distance in AROUND:
            yield f"date {(change + distance) * 1000}"
            yield stamp_question(before + datetime.timedelta(seconds=distance + 1))
    for year in (2023, 2024, 2100):
        for month in range(1, 13):
            for day in (28, 29, 30, 31, 32, 4294967295):
                yield f"stamp {year} {month} {day} 12 0 0"
    for wrong in ("2022 0 1 0 0 0", "2022 13 1 0 0 0", "2022 1 0 0 0 0", "2022 1 1 24 0 0",
                  "2022 1 1 0 60 0", "2022 1 1 0 0 60", "1600 12 31 0 0 0", "1601 1 2 0 0 0",
                  "1969 12 31 23 59 59", "30827 12 30 0 0 0", "30828 1 1 0 0 0", "67558 1 1 0 0 0"):
        yield f"stamp {wrong}"
    for year in (2022, 2023, 2024):
        for month in range(1, 13):
            for weekday in range(7):
                for week in range(1, 7):
                    yield f"week {year} {month} {weekday} {week} 2 0 0"


def rules_of_today(name):
    content = (pathlib.Path("/usr/share/zoneinfo") / name).read_bytes()
    return content.rstrip(b"\n").rsplit(b"\n", 1)[1].decode()


def rules_of_wine(name):
    """What Wine makes of a zone that it has no rules of."""
    zone = zoneinfo.ZoneInfo(name)
    year = datetime.date.today().year
    days = {}
    for change in changes_of(zone, year, year + 1):
        before = datetime.datetime.fromtimestamp(change - 1, zone)
        day_of_year = before.replace(year=2023).timetuple().tm_yday
        days["end" if before.dst() else "begin"] = day_of_year
    return f"<+1030>-10:30<+1130>-11:30,J{days['begin']}/2,J{days['end']}/2:30"


def is_beyond_range(question):
    kind, year, *_ = question.split()
    return kind == "stamp" and int(year) > 30827


def answers(command, zone, questions):
    result = subprocess.run(command, input="\n".join(questions) + "\n", text=True, check=True,
                            stdout=subprocess.PIPE, env={**os.environ, "TZ": zone})
    lines = result.stdout.replace("\r", "").splitlines()
    if len(lines) != len(questions):
        sys.exit(f"{zone}: {len(lines)} answers to {len(questions)} questions from {command}")
    return lines


def main(native, other):
    asked = history = beyond_range = 0
    unexplained = []
    for name in ZONES:
        questions = list(questions_of(zoneinfo.ZoneInfo(name)))
        asked += len(questions)
        ours = answers([native], name, questions)
        theirs = answers(other, name, questions)
        rules = rules_of_wine if name == "Australia/Lord_Howe" else rules_of_today
        today = answers([native], rules(name), questions)
        for question, our, their, of_today in zip(questions, ours, theirs, today):
            if our == their:
                continue
            if their == of_today:
                history += 1
            elif is_beyond_range(question):
                beyond_range += 1
            else:
                unexplained.append(f"{name}: {question}: {our} here, {of_today} by today's rules, "
                                   f"{their} there")
    print(f"{asked} questions; {history} answers differ by what a zone's rules were at the time, "
          f"{beyond_range} by a year out of range, {len(unexplained)} otherwise")
    for line in unexplained[:200]:
        print(line)
    if asked < 5000 or history == 0 or unexplained:
        sys.exit(1)


main(sys.argv[1], sys.argv[2:])
