#!/usr/bin/python3
"""soak_report.py [OPTION...] LOG: judges the lines of a soak run.

LOG is the soak.csv of scripts/soak.sh: one line for each time that everything was at rest. Prints a
table of growths and the verdict; the exit status is 0 when nothing grew, else 1.

    --svg FILE       draws the lines
    --plot FILE      another copy of the plot
    --markdown FILE  writes the table and the verdict
    --document FILE  replaces what is between the markers of this file by them
"""
import argparse
import csv
import datetime
import math
import os
import pathlib
import platform
import re
import sys

# What may not grow by more than this in an hour, in KiB. Shorter runs are allowed NOISE in all: the
# heap keeps some freed memory, more or less of it at each line.
MEMORY = {"resident_kib": "resident memory", "heap_kib": "heap in use"}
KIB_PER_HOUR = 64
NOISE_KIB = {"resident_kib": 128, "heap_kib": 32}
# What may not be more than when the warm-up ended.
COUNTS = {"threads": "threads", "descriptors": "descriptors"}
FRAMES_PER_DAY = 24 * 3600 * 30
FEWEST_LINES = 5
# Each of these must have happened.
PARTS = {"unplugged": "no camera left while it was used", "recorded": "nothing was recorded",
         "recordings": "no recording was complete", "full_disks": "no disk was ever full",
         "opened": "no stream was opened", "photos": "no photo was taken", "clouds": "no point cloud was made",
         "killed": "no network camera was killed"}
MARKERS = ("<!-- soak: begin -->", "<!-- soak: end -->")
PANELS = [("frames", "frames"), ("resident_kib", "resident memory, KiB"),
          ("heap_kib", "heap in use, KiB"), ("threads", "threads"),
          ("descriptors", "descriptors")]


def read(path):
    """Columns of numbers by name; None for what was not measured."""
    with open(path, newline="", encoding="ascii") as file:
        rows = list(csv.DictReader(file))
    if not rows:
        raise SystemExit(f"soak_report: {path}: there is no line")
    columns = {}
    for name in rows[0]:
        values = [row[name] for row in rows]
        columns[name] = None if "" in values else [float(value) for value in values]
    return columns


def warm_up(count):
    """How many lines at the start are not judged: a fifth, 2 at least and 10 at most."""
    return min(max(count // 5, 2), 10)


def slope(times, values):
    """Of the line with the least squares, per unit of time."""
    middle = sum(times) / len(times)
    mean = sum(values) / len(values)
    spread = sum((time - middle) ** 2 for time in times)
    return sum((t - middle) * (v - mean) for t, v in zip(times, values)) / spread


def doubt(times, values):
    """Twice the standard error of the slope: what scattered values alone make of it."""
    per_time = slope(times, values)
    middle = sum(times) / len(times)
    mean = sum(values) / len(values)
    spread = sum((time - middle) ** 2 for time in times)
    left = sum((v - mean - per_time * (t - middle)) ** 2 for t, v in zip(times, values))
    return 2 * math.sqrt(left / max(len(times) - 2, 1) / spread)


class Row:
    """One line of the table."""

    def __init__(self, name, values, per_hour, limit, problem=""):
        self.name = name
        self.first, self.last, self.most = values[0], values[-1], max(values)
        self.per_hour = per_hour
        self.limit = limit
        self.problem = problem

    def cells(self):
        return [self.name, f"{self.first:,.0f}", f"{self.last:,.0f}", f"{self.most:,.0f}",
                f"{self.per_hour:+,.1f}", self.limit, self.problem or "holds"]


def judge_memory(key, name, hours, values):
    per_hour = slope(hours, values)
    span = hours[-1] - hours[0]
    allowed = max(KIB_PER_HOUR * span, NOISE_KIB[key]) + doubt(hours, values) * span
    grown = per_hour * span
    problem = f"grows by {grown:,.0f} KiB" if grown > allowed else ""
    return Row(name + ", KiB", values, per_hour, f"{allowed:,.0f} KiB in {span:.2f} h", problem)


def judge_count(name, hours, values):
    problem = f"{max(values):.0f} instead of {values[0]:.0f}" if max(values) > values[0] else ""
    return Row(name, values, slope(hours, values), f"never more than {values[0]:.0f}", problem)


def judge(columns):
    """The rows of the table and a list of problems."""
    count = len(columns["seconds"])
    if count < FEWEST_LINES:
        return [], [f"{count} lines are too few, {FEWEST_LINES} are needed"]
    judged = slice(warm_up(count), None)
    hours = [second / 3600 for second in columns["seconds"][judged]]
    rows = []
    for key, name in MEMORY.items():
        if columns[key]:
            rows.append(judge_memory(key, name, hours, columns[key][judged]))
    for key, name in COUNTS.items():
        rows.append(judge_count(name, hours, columns[key][judged]))
    problems = [f"{row.name}: {row.problem}" for row in rows if row.problem]
    frames = columns["frames"]
    if any(later <= earlier for earlier, later in zip(frames, frames[1:])):
        problems.append("frames: none came between two lines")
    problems += [problem for name, problem in PARTS.items() if not columns[name][-1]]
    if columns["defects"][-1]:
        problems.append(f"{columns['defects'][-1]:.0f} defects were reported")
    return rows, problems


def table(rows):
    heads = ["at rest", "after the warm-up", "at the end", "most", "slope per hour", "limit",
             "verdict"]
    lines = [heads, ["---"] * len(heads)] + [row.cells() for row in rows]
    return "".join("| " + " | ".join(line) + " |\n" for line in lines)


def duration(seconds):
    return f"{seconds / 3600:.1f} hours" if seconds >= 5400 else f"{seconds / 60:.0f} minutes"


def processor():
    for line in pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8").splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return platform.machine()


def summary(columns):
    last = {name: values[-1] for name, values in columns.items() if values}
    return (f"{last['frames']:,.0f} frames came in {duration(last['seconds'])}, as many as a stream "
            f"of 30 frames/s gives in {last['frames'] / FRAMES_PER_DAY * 24:.0f} hours; "
            f"{last['opened']:,.0f} streams were opened, {last['unplugged']:,.0f} cameras left while "
            f"they were used, {last['killed']:,.0f} network cameras were killed, "
            f"{last['recordings']:,.0f} recordings were complete, {last['full_disks']:,.0f} were cut "
            f"by a full disk; {last['recorded']:,.0f} recorded frames were read again; "
            f"{last['photos']:,.0f} photos and {last['clouds']:,.0f} point clouds were made.")


def write_document(path, text):
    """Replaces what is between the markers."""
    document = path.read_text(encoding="utf-8")
    pattern = re.compile(re.escape(MARKERS[0]) + ".*?" + re.escape(MARKERS[1]), re.DOTALL)
    if len(pattern.findall(document)) != 1:
        raise SystemExit(f"soak_report: {path} has not exactly one place for the result")
    between = f"{MARKERS[0]}\n\n{text}\n{MARKERS[1]}"
    path.write_text(pattern.sub(lambda _: between, document), encoding="utf-8")


def ticks(low, high):
    """Up to five round numbers that include both."""
    step = 10 ** math.floor(math.log10(max(high - low, 1) / 4))
    step = next(step * each for each in (1, 2, 5, 10) if math.ceil((high - low) / (step * each)) <= 4)
    step = max(step, 1)
    first = math.floor(low / step) * step
    return [first + step * i for i in range(math.ceil((high - first) / step) + 1)]


def panel(top, title, minutes, values, warm):
    """One curve with its axes; the warm-up is grey."""
    left, width, height = 90, 640, 90
    marks = ticks(min(values), max(values)) if min(values) < max(values) else \
        [values[0] - 1, values[0], values[0] + 1]
    across = width / (minutes[-1] or 1)

    def y_of(value):
        return top + height - (value - marks[0]) / (marks[-1] - marks[0]) * height

    parts = [f'<text x="{left}" y="{top - 8}" font-weight="bold">{title}</text>',
             f'<rect x="{left}" y="{top}" width="{minutes[warm] * across:.1f}" height="{height}" '
             'fill="#eeeeee"/>']
    for mark in marks:
        parts.append(f'<path d="M{left} {y_of(mark):.1f}h{width}" stroke="#cccccc"/>')
        parts.append(f'<text x="{left - 8}" y="{y_of(mark) + 4:.1f}" text-anchor="end">'
                     f'{mark:,.0f}</text>')
    points = " ".join(f"{left + minute * across:.1f},{y_of(value):.1f}"
                      for minute, value in zip(minutes, values))
    parts.append(f'<polyline points="{points}" fill="none" stroke="#1f5fa8" stroke-width="1.5"/>')
    if title == PANELS[-1][1]:
        for mark in ticks(0, minutes[-1]):
            if mark <= minutes[-1]:
                parts.append(f'<text x="{left + mark * across:.1f}" y="{top + height + 18}" '
                             f'text-anchor="middle">{mark:g}</text>')
        parts.append(f'<text x="{left + width / 2}" y="{top + height + 36}" text-anchor="middle">'
                     'minutes; the warm-up is grey</text>')
    return parts


def draw(columns):
    """The curves as an SVG image."""
    minutes = [second / 60 for second in columns["seconds"]]
    shown = [(key, title) for key, title in PANELS if columns[key]]
    height = 130 * len(shown) + 60
    parts = ['<svg xmlns="http://www.w3.org/2000/svg" width="760" '
             f'height="{height}" viewBox="0 0 760 {height}" font-family="sans-serif" font-size="12">',
             f'<rect width="760" height="{height}" fill="white"/>']
    for place, (key, title) in enumerate(shown):
        parts += panel(30 + 130 * place, title, minutes, columns[key], warm_up(len(minutes)))
    return "\n".join(parts + ["</svg>\n"])


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n", maxsplit=1)[0])
    for option in ("--svg", "--plot", "--markdown", "--document"):
        parser.add_argument(option, type=pathlib.Path)
    parser.add_argument("log", type=pathlib.Path)
    options = parser.parse_args()
    columns = read(options.log)
    rows, problems = judge(columns)
    verdict = "nothing grew" if not problems else "; ".join(problems)
    text = f"{summary(columns)}\n\n{table(rows)}\nVerdict: {verdict}.\n"
    print(text, end="")
    for image in filter(None, (options.svg, options.plot)):
        image.parent.mkdir(parents=True, exist_ok=True)
        image.write_text(draw(columns), encoding="utf-8")
    about = f"{datetime.date.today().isoformat()}, {processor()}, {os.cpu_count()} processors. {text}"
    if options.markdown:
        options.markdown.write_text(about, encoding="utf-8")
    if options.document:
        write_document(options.document, about)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
