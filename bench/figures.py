"""Figures with what they are compared to, as a table on the terminal and in a document."""

import dataclasses
import re
import statistics

BEGIN = "<!-- What follows is written by scripts/bench. -->"
END = "<!-- What was written by scripts/bench ends here. -->"

UNITS = {
    "s": [(1, "s"), (1e-3, "ms"), (1e-6, "µs"), (1e-9, "ns")],
    "kB": [(1e3, "MB"), (1, "kB")],
    "/s": [(1, "/s")],
    "": [(1, "")],
}


def text(number, unit):
    """Three significant digits, in the largest unit that leaves something before the point."""
    factor, name = next((each for each in UNITS[unit] if abs(number) >= each[0]), UNITS[unit][-1])
    scaled = number / factor
    digits = 0 if scaled >= 100 else 1 if scaled >= 10 else 2
    return f"{scaled:,.{digits}f} {name}".strip()


@dataclasses.dataclass
class Figure:
    """Medians of `samples`, and of the bare program's for the same work in the same run."""

    what: str
    unit: str
    samples: list
    bare: str = ""
    bare_samples: list = dataclasses.field(default_factory=list)

    def cells(self):
        value = statistics.median(self.samples)
        if not self.bare_samples:
            return [self.what, text(value, self.unit), self.bare, ""]
        bare = statistics.median(self.bare_samples)
        ratio = f"{value / bare:.2g}" if bare and value / bare < 100 else f"{value / bare:.0f}"
        return [self.what, text(value, self.unit), f"{self.bare}: {text(bare, self.unit)}", ratio]


@dataclasses.dataclass
class Section:
    title: str
    figures: list

    def rows(self):
        return [["What", "Cost", "Bare baseline in the same run", "Ratio"]] + [
            figure.cells() for figure in self.figures]


def print_section(section):
    rows = section.rows()
    widths = [max(len(row[column]) for row in rows) for column in range(4)]
    print(f"\n{section.title}")
    for row in rows:
        print("  " + "  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip(),
              flush=True)


def markdown(sections, remarks):
    lines = [*remarks]
    for section in sections:
        header, *rows = section.rows()
        lines += ["", f"### {section.title}", "", "| " + " | ".join(header) + " |", "|---|---|---|---|"]
        lines += ["| " + " | ".join(row) + " |" for row in rows]
    return "\n".join(lines)


def write_document(path, content):
    """Replaces what stands between the two markers."""
    with open(path, encoding="utf-8") as file:
        old = file.read()
    pattern = re.escape(BEGIN) + ".*" + re.escape(END)
    new, count = re.subn(pattern, lambda _: f"{BEGIN}\n{content}\n{END}", old, flags=re.DOTALL)
    if count != 1:
        raise RuntimeError(f"{path} lacks the markers of the generated part")
    with open(path, "w", encoding="utf-8") as file:
        file.write(new)
