"""Compares the rows of two runs.

A row got worse when the spreads of the two runs do not touch, all rounds of the one being worse than
all rounds of the other, and its value changed by more than a twentieth as well: what has no spread,
as sizes, would else get worse by a byte.
"""

import json

SLIGHT = 0.05


def verdict(then, now):
    """"better", "worse" or "" for two rows of the same name."""
    ratio = now["value"] / then["value"] if then["value"] else 1.0
    if abs(ratio - 1) <= SLIGHT:
        return ""
    above = min(now["rounds"]) > max(then["rounds"])
    below = max(now["rounds"]) < min(then["rounds"])
    if not above and not below:
        return ""
    return "better" if above == (now["limit_is"] == "at least") else "worse"


def compare(rows, path):
    """Prints each row now and then; returns the names of those that got worse."""
    with open(path, encoding="utf-8") as file:
        earlier = json.load(file)
    known = {row["what"]: row for row in earlier["rows"]}
    print(f"\nAgainst {path} of {earlier['about']['date']}:\n\n"
          "| What | Now / then | Then | Now | |\n|---|---|---|---|---|")
    worse = []
    for row in rows:
        what, then = row["what"], known.pop(row["what"], None)
        if then is None:
            print(f"| {what} | | | {row['value']:.4g}{row['unit']} | new |")
            continue
        ratio = f"{row['value'] / then['value']:.2f}" if then["value"] else ""
        change = verdict(then, row)
        if change == "worse":
            worse.append(what)
        print(f"| {what} | {ratio} | {then['value']:.4g}{row['unit']} |"
              f" {row['value']:.4g}{row['unit']} | {change} |")
    for what, then in known.items():
        print(f"| {what} | | {then['value']:.4g}{then['unit']} | | not measured now |")
    return worse
