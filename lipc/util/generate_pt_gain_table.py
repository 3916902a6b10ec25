#!/usr/bin/env python3
# SPDX-License-Identifier: BSL-1.0
"""Writes PTGainTable.cpp, the decibel value of each of the 1024 PT gain steps, to standard output.

    python3 lipc/util/generate_pt_gain_table.py > lipc/util/PTGainTable.cpp

All arithmetic is in whole hundredths of a decibel. The law is built as a list of increments, one
segment after another, with the odd increments of each segment spread evenly; then the finished
table is checked against the anchors and against the description of its shape, both stated here
independently of the way in which it was built. A failed check ends the script without output.
"""

STEPS = 1024

ANCHORS = {
    0: -14400, 1: -13800, 8: -10000, 9: -9540, 10: -9000, 16: -8400, 33: -7200,
    130: -4060, 132: -4000, 134: -3980, 255: -3000, 256: -2995, 380: -1990,
    511: -1315, 512: -1310, 766: -5, 767: 0, 768: 5, 1022: 1195, 1023: 1200,
}


def single_and_double_tens(fives, tens):
    """Runs of one or two 0.1 dB increments, one run before each 0.05 dB increment and one behind
    the last; the double runs are spread evenly."""
    runs = fives + 1
    doubles = tens - runs
    increments = []
    for run in range(runs):
        increments += [10]
        if (run + 1) * doubles // runs > run * doubles // runs:
            increments += [10]
        increments += [5]
    return increments[:-1]


def build_increments():
    increments = []
    # -144 to -90 dB.
    increments += [600] + [600] * 3 + [500] * 4 + [460, 540]
    # -90 to -84 dB.
    increments += [100] * 6
    # -84 to -72 dB: 17 steps of 0.7 dB fall 0.1 dB short.
    increments += [70] * 8 + [80] + [70] * 8
    # -72 to -40 dB: 99 steps of 0.3 dB fall 2.3 dB short, so 23 of them are 0.4 dB.
    increments += [30] * 5 + ([40] + [30] * 3) * 22 + [40] + [30] * 5
    # -40 to -19.9 dB, by way of -39.8, -30 and -29.95.
    increments += [10, 10]
    increments += [5] + single_and_double_tens(fives=45, tens=75)
    increments += [5]
    increments += single_and_double_tens(fives=47, tens=77)
    # -19.9 to 0 dB: 387 steps of 0.05 dB fall 0.55 dB short, so 11 of them are 0.1 dB.
    increments += ([5] * 31 + [10]) * 11 + [5] * 35
    # 0 to +12 dB: 256 steps of 0.05 dB are 0.8 dB too many; each pair and each triple takes 0.05.
    pair, triple = [2, 3], [3, 4, 3]
    increments += [5] * 14 + (pair + [5] * 13 + triple + [5] * 12) * 8 + [5] * 2
    return increments


def spacings(positions):
    return [b - a for a, b in zip(positions, positions[1:])]


def runs_of_odd_increments(increments, usual):
    """The runs of increments that differ from the usual one, as (position, increments)."""
    runs = []
    for position, increment in enumerate(increments):
        if increment == usual:
            continue
        if runs and runs[-1][0] + len(runs[-1][1]) == position:
            runs[-1][1].append(increment)
        else:
            runs.append((position, [increment]))
    return runs


def check(table):
    assert len(table) == STEPS
    for step, value in ANCHORS.items():
        assert table[step] == value, (step, table[step], value)

    increments = [b - a for a, b in zip(table, table[1:])]
    assert min(increments) > 0

    def segment(begin, end):
        return increments[begin:end]

    # Steps of 5 to 6 dB up to -90 dB. The anchors at 8 and 9 are 4.6 dB apart: that one is 5 dB
    # only when rounded to whole decibels.
    coarse = segment(0, 10)
    assert coarse.pop(8) == 460
    assert all(500 <= increment <= 600 for increment in coarse)

    # 1 dB to step 16.
    assert set(segment(10, 16)) == {100}

    # Mostly 0.7 dB to step 33.
    assert segment(16, 33).count(70) == 16

    # Mostly 0.3 dB to step 132, with a 0.4 dB step every three or four: so many apart, and so many
    # 0.3 dB steps in between.
    rises = segment(33, 132)
    assert set(rises) == {30, 40} and rises.count(30) > 3 * rises.count(40)
    apart = spacings([i for i, increment in enumerate(rises) if increment == 40])
    assert set(apart) <= {3, 4} and {between - 1 for between in apart} <= {3, 4}
    assert rises.index(40) <= 5 and rises[::-1].index(40) <= 5

    # 0.1 and 0.05 dB in turn to step 380. More tenths are needed than strict turns would give: no
    # two 0.05 dB steps meet, and no three of 0.1 dB.
    rises = segment(132, 380)
    assert set(rises) == {5, 10}
    assert all((a, b) != (5, 5) for a, b in zip(rises, rises[1:]))
    assert all((a, b, c) != (10, 10, 10) for a, b, c in zip(rises, rises[1:], rises[2:]))

    # 0.05 dB to step 767, one 0.1 dB step about every 32.
    rises = segment(380, 767)
    assert set(rises) == {5, 10}
    tenths = [i for i, increment in enumerate(rises) if increment == 10]
    assert set(spacings([-1] + tenths)) == {32} and 32 <= len(rises) - tenths[-1] <= 36

    # 0.05 dB above 0 dB, broken every 15 steps or so by a pair or triple of 0.02 to 0.04 dB.
    rises = segment(767, 1023)
    groups = runs_of_odd_increments(rises, usual=5)
    assert {len(group) for _, group in groups} == {2, 3}
    assert {increment for _, group in groups for increment in group} == {2, 3, 4}
    starts = [position for position, _ in groups]
    assert set(spacings(starts)) == {15}
    assert starts[0] == 14 and len(rises) - starts[-1] <= 18


def main():
    table = [ANCHORS[0]]
    for increment in build_increments():
        table.append(table[-1] + increment)
    check(table)

    print("// SPDX-License-Identifier: BSL-1.0\n")
    print("// Written by generate_pt_gain_table.py; change the values there.")
    print()
    print('#include "lipc/util/Levels.h"')
    print()
    print("namespace LIPC {")
    print()
    print("// dB, eight steps a line.")
    print("// clang-format off")
    print(f"const float scPT11GainTodB[{STEPS}] = {{")
    for first in range(0, STEPS, 8):
        values = "".join(f"{value / 100:8.2f}f," for value in table[first:first + 8])
        print(f"  {values}  // {first:4} .. {first + 7:4}")
    print("};")
    print("// clang-format on")
    print()
    print("}  // namespace LIPC")


if __name__ == "__main__":
    main()
