"""`ulix convert` against tables made here, in exact arithmetic, from the published coefficients.

Run as: python3 test_convert_contract.py PATH_TO_ULIX [unittest arguments]
"""

import json
import unittest
from decimal import Decimal, getcontext
from fractions import Fraction

from contract import ContractTest, main

getcontext().prec = 40

# NIST Standard Reference Database 60: type, from and to in degrees Celsius, c0 c1 c2 ... in mV.
PIECES = [
    ("B", "0", "630.615", """
        0 -0.00024650818346 5.9040421171e-06 -1.3257931636e-09 1.5668291901e-12 -1.694452924e-15 6.2990347094e-19"""),
    ("B", "630.615", "1820", """
        -3.8938168621 0.02857174747 -8.4885104785e-05 1.5785280164e-07 -1.6835344864e-10 1.1109794013e-13
        -4.4515431033e-17 9.8975640821e-21 -9.3791330289e-25"""),
    ("E", "-270", "0", """
        0 0.058665508708 4.5410977124e-05 -7.7998048686e-07 -2.5800160843e-08 -5.9452583057e-10 -9.3214058667e-12
        -1.0287605534e-13 -8.0370123621e-16 -4.3979497391e-18 -1.6414776355e-20 -3.9673619516e-23
        -5.5827328721e-26 -3.4657842013e-29"""),
    ("E", "0", "1000", """
        0 0.05866550871 4.5032275582e-05 2.8908407212e-08 -3.3056896652e-10 6.502440327e-13 -1.9197495504e-16
        -1.2536600497e-18 2.1489217569e-21 -1.4388041782e-24 3.5960899481e-28"""),
    ("J", "-210", "760", """
        0 0.050381187815 3.047583693e-05 -8.568106572e-08 1.3228195295e-10 -1.7052958337e-13 2.0948090697e-16
        -1.2538395336e-19 1.5631725697e-23"""),
    ("J", "760", "1200", """
        296.45625681 -1.4976127786 0.0031787103924 -3.1847686701e-06 1.5720819004e-09 -3.0691369056e-13"""),
    ("K", "-270", "0", """
        0 0.039450128025 2.3622373598e-05 -3.2858906784e-07 -4.9904828777e-09 -6.7509059173e-11 -5.7410327428e-13
        -3.1088872894e-15 -1.0451609365e-17 -1.9889266878e-20 -1.6322697486e-23"""),
    ("K", "0", "1372", """
        -0.017600413686 0.038921204975 1.8558770032e-05 -9.9457592874e-08 3.1840945719e-10 -5.6072844889e-13
        5.6075059059e-16 -3.2020720003e-19 9.7151147152e-23 -1.2104721275e-26"""),
    ("N", "-270", "0", """
        0 0.026159105962 1.0957484228e-05 -9.3841111554e-08 -4.6412039759e-11 -2.6303357716e-12 -2.2653438003e-14
        -7.6089300791e-17 -9.3419667835e-20"""),
    ("N", "0", "1300", """
        0 0.025929394601 1.571014188e-05 4.3825627237e-08 -2.5261169794e-10 6.4311819339e-13 -1.0063471519e-15
        9.9745338992e-19 -6.0863245607e-22 2.0849229339e-25 -3.0682196151e-29"""),
    ("R", "-50", "1064.18", """
        0 0.00528961729765 1.39166589782e-05 -2.38855693017e-08 3.56916001063e-11 -4.62347666298e-14
        5.00777441034e-17 -3.73105886191e-20 1.57716482367e-23 -2.81038625251e-27"""),
    ("R", "1064.18", "1664.5", """
        2.95157925316 -0.00252061251332 1.59564501865e-05 -7.64085947576e-09 2.05305291024e-12 -2.93359668173e-16"""),
    ("R", "1664.5", "1768.1", """
        152.232118209 -0.268819888545 0.000171280280471 -3.45895706453e-08 -9.34633971046e-15"""),
    ("S", "-50", "1064.18", """
        0 0.00540313308631 1.2593428974e-05 -2.32477968689e-08 3.22028823036e-11 -3.31465196389e-14
        2.55744251786e-17 -1.25068871393e-20 2.71443176145e-24"""),
    ("S", "1064.18", "1664.5", """
        1.32900444085 0.00334509311344 6.54805192818e-06 -1.64856259209e-09 1.29989605174e-14"""),
    ("S", "1664.5", "1768.1", """
        146.628232636 -0.258430516752 0.000163693574641 -3.30439046987e-08 -9.43223690612e-15"""),
    ("T", "-270", "0", """
        0 0.038748106364 4.4194434347e-05 1.1844323105e-07 2.0032973554e-08 9.0138019559e-10 2.2651156593e-11
        3.6071154205e-13 3.8493939883e-15 2.8213521925e-17 1.4251594779e-19 4.8768662286e-22 1.079553927e-24
        1.3945027062e-27 7.9795153927e-31"""),
    ("T", "0", "400", """
        0 0.038748106364 3.329222788e-05 2.0618243404e-07 -2.1882256846e-09 1.0996880928e-11 -3.0815758772e-14
        4.547913529e-17 -2.7512901673e-20"""),
]
PIECES = [(kind, Fraction(low), Fraction(high), [Fraction(c) for c in text.split()]) for kind, low, high, text in PIECES]
POINTS_OF_A_TYPE = 1500


def emf(kind, celsius):
    """The voltage in mV. `celsius` is a Fraction."""
    pieces = [piece for piece in PIECES if piece[0] == kind]
    _, _, _, coefficients = next((piece for piece in pieces if celsius <= piece[2]), pieces[-1])
    total = sum(c * celsius ** k for k, c in enumerate(coefficients))
    if kind == "K" and celsius > 0:
        exponent = Fraction("-1.183432e-4") * (celsius - Fraction("126.9686")) ** 2
        peak = (Decimal(exponent.numerator) / Decimal(exponent.denominator)).exp() * Decimal("0.1185976")
        total += Fraction(peak)
    return total


def temperatures(kind):
    """The ends of the range, and between them multiples of 1/16384 degree, which a double holds exactly."""
    low = min(piece[1] for piece in PIECES if piece[0] == kind)
    high = max(piece[2] for piece in PIECES if piece[0] == kind)
    step = (high - low) / (POINTS_OF_A_TYPE - 1)
    inner = [Fraction(round((low + k * step) * 16384), 16384) for k in range(1, POINTS_OF_A_TYPE - 1)]
    return [low, *inner, high]


class ThermocoupleTables(ContractTest):
    def convert(self, *args):
        status, out, err = self.ulix("convert", *args, "--json")
        self.assertEqual((status, err), (0, ""))
        return [row["to"] for row in json.loads(out)]

    def test_each_type_agrees_with_the_published_functions_there_and_back(self):
        points = 0
        for kind in "BEJKNRST":
            celsius = temperatures(kind)
            expected = [float(emf(kind, t)) for t in celsius]
            voltages = self.convert(kind, "--celsius", *(repr(float(t)) for t in celsius))
            for t, mine, theirs in zip(celsius, expected, voltages, strict=True):
                self.assertAlmostEqual(mine, theirs, delta=1e-10, msg=f"{kind} {float(t)}")
            # Below this voltage type B has two temperatures for one voltage.
            back = [(float(t), v) for t, v in zip(celsius, expected) if kind != "B" or v > 0.2911]
            for (t, _), theirs in zip(back, self.convert(kind, "--mv", *(repr(v) for _, v in inside(kind, back))), strict=True):
                self.assertAlmostEqual(t, theirs, delta=1e-3, msg=kind)
            points += len(celsius)
        self.assertEqual(points, 12000)


def inside(kind, rows):
    """Moves the voltages of both ends into the range by one step of rounding."""
    low, high = rows[0], rows[-1]
    return [(low[0], low[1] + 1e-9), *rows[1:-1], (high[0], high[1] - 1e-9)]


class Conversions(ContractTest):
    def test_lines_and_refusals(self):
        self.assertEqual(self.ulix("convert", "pt100", "138.5055"), (0, "138.505500  ohm  100.000000  °C\n", ""))
        self.assertEqual(self.ulix("convert", "pt100", "100"), (0, "100.000000  ohm  0.000000  °C\n", ""))
        self.assertAlmostEqual(float(self.succeed("convert", "K", "--mv", "4.096", "--junction", "25").split()[2]), 124.310, 3)
        for args, message in {
            ("K", "--mv", "60"): "--mv: type K: 60 mV is outside -6.45773795 to 54.886364 mV",
            ("pt100", "--mv", "1"): "--mv: the sensor's values are in ohm",
            ("pt100", "nan"): "VALUE: 'nan' is no value; takes a finite number such as 12.5",
            ("pt100",): "VALUE: is missing; takes ohms or millivolts, or --celsius with temperatures",
            ("pt100", "100", "--junction", "25"): "SENSOR: sensor 'pt100' has no 'junction'",
        }.items():
            self.assertEqual(self.ulix("convert", *args), (2, "", f"ulix: {message}\n"))


if __name__ == "__main__":
    main()
