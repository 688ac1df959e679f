"""Reads the bar code with which the demo game numbers its frames; tools/frame_code.h describes it."""

import re

_CLOCK_COLUMNS = 33
_BITS = 32
_CHECK_SEED = 0x5A
_TO_BITS = bytes(ord("1") if value < 128 else ord("0") for value in range(256))


class FrameCodeReader:
    """Reads the numbers of pictures of one size, in which the code stays in one place."""

    def __init__(self, width, height):
        self._width = width
        self._height = height
        self._place = None

    def read(self, picture):
        """The frame number in `picture`, 8-bit grey values row by row; None if there is no code."""
        if self._place is not None:
            number = self._read_at(picture, *self._place)
            if number is not None:
                return number
        for row in range(0, self._height // 2, 2):
            columns = self._find_clock(self._row(picture, row))
            if columns is None:
                continue
            # The clock was met near its upper edge, so the data row is less than two rows down.
            for below in range(row + 2, min(self._height, row + self._height // 6), 2):
                number = self._read_at(picture, below, columns)
                if number is not None:
                    self._place = (below + 2, columns)
                    return number
        return None

    def _row(self, picture, row):
        start = row * self._width
        return picture[start : start + self._width].translate(_TO_BITS)

    @staticmethod
    def _find_clock(bits):
        """The middles of the clock's columns, if this row of pixels crosses the clock."""
        runs = [(match.start(), match.end()) for match in re.finditer(rb"0+|1+", bits)]
        for first in range(len(runs) - _CLOCK_COLUMNS + 1):
            clock = runs[first : first + _CLOCK_COLUMNS]
            if bits[clock[0][0]] != ord("1"):
                continue
            lengths = [end - start for start, end in clock]
            if min(lengths) >= 4 and max(lengths) - min(lengths) <= max(2, max(lengths) // 8):
                return [(start + end) // 2 for start, end in clock]
        return None

    def _read_at(self, picture, row, columns):
        bits = self._row(picture, row)
        if bits[columns[_CLOCK_COLUMNS - 1]] != ord("0"):
            return None
        word = int(bytes(bits[column] for column in columns[:_BITS]), 2)
        number, check = word >> 8, word & 0xFF
        if (number >> 16 ^ number >> 8 ^ number ^ _CHECK_SEED) & 0xFF != check:
            return None
        return number
