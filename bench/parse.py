"""parse.py BUILD-FOLDER [SMALLEST [LARGEST [NAME]]]: how time and memory grow with a message.

Every dimension that a stranger chooses is doubled from SMALLEST to LARGEST bytes (64 KiB to 32 MiB)
and read from text to Mail_content, each time in a process of its own, by default and as
AUTORESPONDER_READ_AS_SHOWN has it. NAME picks the dimensions that hold it; they end in "shown" for the
latter. With VERBOSE=1 every step is printed."""

import itertools
import math
import os
import subprocess
import sys

from common.bench import record

EXPONENT, SPEED, MEMORY = 1.1, 150, 3.0
SPEED_SHOWN, MEMORY_SHOWN = 50, 6.0


def steps(program: str, name: str, reading: str, smallest: int, largest: int) -> list[tuple[float, int, int]]:
    """CPU seconds, peak memory and bytes of each size."""
    found = []
    while smallest <= largest:
        output = subprocess.run([program, name, str(smallest), reading], check=True, capture_output=True,
                                text=True).stdout
        seconds, peak, size = output.split()
        found.append((float(seconds), int(peak), int(size)))
        smallest *= 2
    return found


def exponent(found: list[tuple[float, int, int]]) -> float:
    """The slope of time over size, both in logarithms, by least squares."""
    x = [math.log(size) for _, _, size in found]
    y = [math.log(seconds) for seconds, _, _ in found]
    mean_x, mean_y = sum(x) / len(x), sum(y) / len(y)
    return (sum((a - mean_x) * (b - mean_y) for a, b in zip(x, y))
            / sum((a - mean_x) ** 2 for a in x))


def main(build: str, smallest: str = "65536", largest: str = "33554432", wanted: str = "") -> None:
    program = build + "/bench/growth"
    names = subprocess.run([program], check=True, capture_output=True, text=True).stdout
    print(f"parse: {int(smallest) >> 10} KiB to {int(largest) >> 10} KiB; goals: exponent at most"
          f" {EXPONENT}; ordinary mail at least {SPEED} MB/s and at most {MEMORY:.0f} x its size;"
          f" as shown {SPEED_SHOWN} MB/s, and any mail at most {MEMORY_SHOWN:.0f} x its size beside a small one")
    print(f"{'':42}{'exponent':>10}{'ms':>10}{'MB/s':>8}{'peak MB':>9}{'x size':>8}")
    for dimension, reading in itertools.product(names.splitlines(), ("", "shown")):
        name = f"{dimension} {reading}".strip()
        if wanted not in name:
            continue
        found = steps(program, dimension, reading, int(smallest), int(largest))
        for seconds, _, size in found:
            record(name, size / 1e6, seconds * 1e3)
        small = steps(program, dimension, reading, 1, 1)[0][1] if reading else 0
        for seconds, peak, size in found if os.environ.get("VERBOSE") else found[-1:]:
            grows = f"{exponent(found):10.2f}" if (seconds, peak, size) == found[-1] else " " * 10
            speed, times = size / seconds / 1e6, (peak - small) / size
            least, most = (SPEED_SHOWN, MEMORY_SHOWN) if reading else (SPEED, MEMORY)
            ordinary = name.startswith("ordinary")
            missed = (exponent(found) > EXPONENT or (ordinary and speed < least)
                      or ((ordinary or reading) and times > most))
            print(f"{name:42}{grows}{seconds * 1e3:10.2f}{speed:8.0f}{peak / 1e6:9.1f}{times:8.2f}"
                  f"{'  missed' if missed else ''}")


if __name__ == "__main__":
    main(*sys.argv[1:])
