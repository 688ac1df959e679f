"""One table for all figures: each with its spread and, where it has one, its limit."""

import statistics


def ratios(ours, theirs):
    """Of rounds that took turns, each with its neighbour, so that both met the same machine."""
    return [own / other for own, other in zip(ours, theirs)]


class Table:
    """The rows, printed as they come."""

    def __init__(self):
        self.rows = []

    def heading(self, text):
        print(f"\n{text}\n\n| What | Median (least to most) | Limit | Holds | |\n"
              "|---|---|---|---|---|", flush=True)

    def add(self, what, rounds, limit=None, at_least=False, unit="", digits=None, note="",
            chosen=None):
        """`rounds` are the values of which the median counts, or `chosen` where that is given. A
        row without a limit only says what there is; less of it is better."""
        value = statistics.median(rounds) if chosen is None else chosen
        holds = limit is None or (value >= limit if at_least else value <= limit)
        if digits is None:
            digits = 0 if unit else 2
        self.rows.append({
            "what": what, "value": value, "rounds": rounds, "unit": unit, "digits": digits,
            "limit": limit, "limit_is": "at least" if at_least else "at most", "note": note,
            "holds": holds})
        self.show(self.rows[-1])

    @staticmethod
    def show(row):
        def text(number):
            return f"{number:.{row['digits']}f}"

        spread = ""
        if len(row["rounds"]) > 1:
            spread = f" ({text(min(row['rounds']))} to {text(max(row['rounds']))})"
        limit, holds = "", ""
        if row["limit"] is not None:
            limit = f"{row['limit_is']} {text(row['limit'])}{row['unit']}"
            holds = "yes" if row["holds"] else "NO"
        print(f"| {row['what']} | {text(row['value'])}{row['unit']}{spread} | {limit} | {holds} |"
              f" {row['note']} |", flush=True)

    def missed(self):
        return [row["what"] for row in self.rows if not row["holds"]]
