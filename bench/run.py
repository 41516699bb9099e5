"""Measures the library: run.py BUILD [--quick | --write DOCUMENT]"""

import argparse
import datetime
import os
import platform
import shutil
import sys
import tempfile

sys.dont_write_bytecode = True

from figures import markdown, print_section, write_document
from measure import SECTIONS, Bench
from sink import Nginx

# Above this many waiting or running threads, others take part of the time that is measured.
BUSY_LOAD = 0.5


def remarks(load_before):
    lines = [
        f"Measured on {datetime.date.today()}: {os.cpu_count()} processors, {platform.machine()}, "
        f"Linux {platform.release()}. Medians of all repetitions."]
    if load_before > BUSY_LOAD:
        lines += ["", f"**The machine was busy** (load {load_before:.1f} before the start): times "
                      "are too long, and only ratios, instructions, memory and sizes mean something."]
    return lines


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", help="the build folder of the programs to measure")
    parser.add_argument("--quick", action="store_true", help="only see whether all of it works")
    parser.add_argument("--write", metavar="DOCUMENT", help="where to put the figures as well")
    arguments = parser.parse_args()

    notes = remarks(os.getloadavg()[0])
    print("\n".join(notes))
    # In the build folder: /tmp may be in memory, and the figures are to be those of a disk.
    folder = tempfile.mkdtemp(prefix="bench-", dir=os.path.abspath(arguments.build))
    nginx = None
    try:
        nginx = Nginx(folder)
        bench = Bench(arguments.build, folder, nginx, arguments.quick)
        sections = []
        for measure in SECTIONS:
            sections.append(measure(bench))
            print_section(sections[-1])
    finally:
        if nginx:
            nginx.stop()
        shutil.rmtree(folder)
    if arguments.write:
        write_document(arguments.write, markdown(sections, notes))


if __name__ == "__main__":
    main()
