#!/usr/bin/env python3
"""Writes the seed corpora of the fuzz targets into corpus/<target>/.

Seeds come from short excerpts of MIT-BIH records (folder given as the first
argument, default ../shared/data next to the repository) and from generated
signals and peak lists. The layouts are those described at the top of each
fuzz_<target>.cpp. Run once after a layout change; the output is committed.
"""
import math
import os
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
DATA = sys.argv[1] if len(sys.argv) > 1 else os.path.join(HERE, "../../../shared/data")
CORPUS = os.path.join(HERE, "corpus")


def write(target, name, payload):
    folder = os.path.join(CORPUS, target)
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, name), "wb") as f:
        f.write(payload)


def read_212(path, frames, signals=2):
    """First `frames` frames of a two-signal format-212 file, ADC units."""
    raw = open(path, "rb").read(frames * signals * 3 // 2)
    values = []
    for k in range(0, len(raw) - 2, 3):
        b0, b1, b2 = raw[k], raw[k + 1], raw[k + 2]
        for v in (b0 | ((b1 & 0x0F) << 8), b2 | ((b1 & 0xF0) << 4)):
            values.append(v - 4096 if v >= 2048 else v)
    return values[0::signals]


def to_200hz(x, fs_in):
    """Linear interpolation to 200 Hz."""
    n = int(len(x) * 200 / fs_in)
    out = []
    for i in range(n):
        p = i * fs_in / 200
        j = int(p)
        f = p - j
        out.append(x[j] * (1 - f) + x[min(j + 1, len(x) - 1)] * f)
    return out


def beats(path, limit):
    """Sample numbers of the first `limit` beat annotations of an MIT file."""
    beat_codes = set(range(1, 14)) | {16, 25, 30, 31, 34, 35, 38}
    raw = open(path, "rb").read()
    t, k, out = 0, 0, []
    while k + 1 < len(raw) and len(out) < limit:
        w = raw[k] | (raw[k + 1] << 8)
        k += 2
        code, value = w >> 10, w & 0x3FF
        if w == 0:
            break
        if code == 59:
            hi = raw[k] | (raw[k + 1] << 8)
            lo = raw[k + 2] | (raw[k + 3] << 8)
            t += struct.unpack("<i", struct.pack("<HH", lo, hi))[0]
            k += 4
        elif code == 63:
            k += value + (value & 1)
        elif code in (60, 61, 62):
            pass
        else:
            t += value
            if code in beat_codes:
                out.append(t)
    return out


# --- fuzz_analysis ----------------------------------------------------------
def analysis(flags, fs=200, start=0, window=10, full_scale=10.0, length=12000, a=0.0, b=0.0,
             injections=(), payload=b""):
    head = struct.pack("<BiiidIdd", flags, fs, start, window, full_scale, length, a, b)
    inj = struct.pack("<B", len(injections)) + b"".join(struct.pack("<IB", p, k) for p, k in injections)
    return head + inj + payload


def doubles(values):
    return struct.pack("<%dd" % len(values), *values)


for record in ("100", "105", "203"):
    adc = read_212(os.path.join(DATA, "mitdb", record + ".dat"), 7200)
    mv = [(v - 1024) / 200.0 for v in adc]
    x = doubles(to_200hz(mv, 360))  # 20 s, 4000 samples
    write("fuzz_analysis", f"mitdb{record}-qrs", analysis(0, length=12000, payload=x))
    write("fuzz_analysis", f"mitdb{record}-hrv", analysis(1, length=36000, payload=x))
write("fuzz_analysis", "synthetic-qrs-max", analysis(1 << 2, length=119936, a=70, b=1.0, payload=b"\1\0\0\0"))
write("fuzz_analysis", "synthetic-hrv-max", analysis(1 | 1 << 2, length=120000, a=62, b=1.0, payload=b"\2\0\0\0"))
write("fuzz_analysis", "synthetic-hrv-late-start", analysis(1 | 1 << 2, start=170, window=30, length=36000, a=110, b=2.0))
write("fuzz_analysis", "synthetic-nan-spikes", analysis(1 << 2, length=6000, a=80, b=1.0,
      injections=[(100, 0), (2000, 1), (3000, 2), (4000, 4), (4500, 5), (5000, 3)]))
write("fuzz_analysis", "synthetic-huge", analysis(1 << 2, length=6000, a=80, b=1e300, full_scale=1e308))
write("fuzz_analysis", "constant", analysis(2 << 2, length=3000, a=0.5))
write("fuzz_analysis", "step", analysis(1 | 3 << 2, length=36000, a=-5.0, b=5.0))
write("fuzz_analysis", "denormal", analysis(2 << 2, length=3000, a=5e-324))
write("fuzz_analysis", "null", analysis(2))
write("fuzz_analysis", "fs0-negative-start", analysis(0, fs=0, start=-3, window=-1, full_scale=-1.0, length=2999))
write("fuzz_analysis", "short", analysis(0, length=12, payload=doubles([0.0, 1.0, 0.0, -1.0])))

# Wave detection at other rates, and beat analysis at any rate (bits 4 and 5).
for fs in (360, 1, 0, -200, 2**31 - 1):
    write("fuzz_analysis", f"detect-waves-fs{fs}", analysis(0x10 | 1 << 2, fs=fs, window=5, length=8000, a=70, b=1.0))
for name, rate in (("nan", float("nan")), ("inf", float("inf")), ("huge", 1e9), ("zero", 0.0),
                   ("half", 0.5), ("negative", -200.0), ("1000", 1000.0)):
    write("fuzz_analysis", f"analyze-stretch-fs-{name}", analysis(0x20 | 2 << 2, length=4000, a=rate,
          injections=[(i * 400, 7) for i in range(10)]))

# --- fuzz_hrv_routines ------------------------------------------------------
def hrv(n_rr, fs, normal, extra, hr_count=None):
    hr_count = len(normal) if hr_count is None else hr_count
    peaks = list(normal) + list(extra)
    return struct.pack("<iiHi", n_rr, fs, len(normal), hr_count) + struct.pack("<%di" % len(peaks), *peaks)


p = [round(s * 200 / 360) + 1 for s in beats(os.path.join(DATA, "mitdb", "100.atr"), 400)]
write("fuzz_hrv_routines", "mitdb100-normal", hrv(len(p) - 1, 200, p, []))
q = [round(s * 200 / 360) + 1 for s in beats(os.path.join(DATA, "mitdb", "119.atr"), 400)]
write("fuzz_hrv_routines", "mitdb119-split", hrv(len(q) // 2 - 1, 200, q[0::2], q[1::2]))
write("fuzz_hrv_routines", "unsorted", hrv(30, 200, list(reversed(p[:40])), p[40:50]))
write("fuzz_hrv_routines", "repeated", hrv(20, 200, [500] * 10 + p[:15], [500, 500]))
write("fuzz_hrv_routines", "negative", hrv(12, 200, [-1000 + 150 * i for i in range(14)], [-5]))
write("fuzz_hrv_routines", "huge-gaps", hrv(8, 200, [1, 2, 200000, 200150, 2**31 - 1000, 2**31 - 1, 3, 4, 5, 6], []))
write("fuzz_hrv_routines", "odd-counts", hrv(-7, 0, p[:6], p[6:9], hr_count=2**31 - 1))

# --- WFDB readers -----------------------------------------------------------
for record in ("100", "203"):
    write("fuzz_wfdb_header", f"mitdb{record}.hea", open(os.path.join(DATA, "mitdb", record + ".hea"), "rb").read())
write("fuzz_wfdb_header", "nstdb118e06.hea", open(os.path.join(DATA, "nstdb", "118e06.hea"), "rb").read())
write("fuzz_wfdb_header", "crlf-format16.hea",
      b"rec 1 250/1000 500 10:00:00 01/01/2000\r\nrec.dat 16x1:0+4 100(-2)/uV 16 0 5 -3 0 ECG lead I\r\n# comment\r\n")
write("fuzz_wfdb_header", "multisegment.hea", b"rec/2 2 360 1000\nseg1 500\nseg2 500\n")

for record in ("100",):
    dat = open(os.path.join(DATA, "mitdb", record + ".dat"), "rb").read(3000)
    text = b"fuzz 2 360 1000\nf0.dat 212 200 11 1024 995 0 0 MLII\nf0.dat 212 200 11 1024 1011 0 0 V5\n"
    write("fuzz_wfdb_signals", f"mitdb{record}-212", struct.pack("<H", len(text)) + text + dat + dat)
dat16 = struct.pack("<1000h", *[int(1000 * math.sin(i / 10)) for i in range(1000)])
text = b"fuzz 1 250 0\nf0.dat 16 100 16 0 0 0 0 ECG\n"
write("fuzz_wfdb_signals", "format16-count-from-size", struct.pack("<H", len(text)) + text + dat16 + dat16)
text = b"fuzz 2 250 400\nf0.dat 16+10 100 16 0\nf1.dat 212 100 12 0\n"
write("fuzz_wfdb_signals", "two-files-offset", struct.pack("<H", len(text)) + text + dat16)

for record in ("100", "203"):
    atr = open(os.path.join(DATA, "mitdb", record + ".atr"), "rb").read()
    write("fuzz_wfdb_annotations", f"mitdb{record}-head.atr", atr[:1500])
write("fuzz_wfdb_annotations", "skip-aux-num", struct.pack("<HHHH", 59 << 10, 0, 0x10, 5 | 1 << 10)
      + struct.pack("<H", 63 << 10 | 3) + b"(N\0\0" + struct.pack("<HHH", 60 << 10 | 7, 61 << 10 | 2, 0))

# --- fuzz_cli_readers: CSV text and EDF files -------------------------------
def cli(mode, payload, fs=0.0, signal=0):
    return struct.pack("<BdB", mode, fs, signal) + payload


def edf(labels, records, per_record, duration=1.0, plus=False):
    def field(v, n):
        return str(v).encode().ljust(n)[:n]
    ns = len(labels)
    head = (field(0, 8) + field("X X X X", 80) + field("Startdate 01-JAN-2000 X X X", 80)
            + field("01.01.00", 8) + field("00.00.00", 8) + field(256 * (ns + 1), 8)
            + field("EDF+C" if plus else "", 44) + field(records, 8) + field(duration, 8) + field(ns, 4))
    for group, n in ((labels, 16), (["AgAgCl"] * ns, 80), (["mV"] * ns, 8), (["-5"] * ns, 8),
                     (["5"] * ns, 8), (["-2048"] * ns, 8), (["2047"] * ns, 8), ([""] * ns, 80),
                     ([per_record] * ns, 8), ([""] * ns, 32)):
        head += b"".join(field(v, n) for v in group)
    body = b""
    for r in range(records):
        for s_ in range(ns):
            body += struct.pack("<%dh" % per_record,
                                *[int(800 * math.exp(-((i % 160) - 80) ** 2 / 20.0)) for i in range(per_record)])
    return head + body


csv_path = os.path.join(HERE, "../../data/mitdb-100-excerpt-200hz.csv")
if os.path.exists(csv_path):
    lines = open(csv_path, "rb").read().splitlines(keepends=True)
    write("fuzz_cli_readers", "excerpt-head.csv", cli(2, b"".join(lines[:120])))
write("fuzz_cli_readers", "one-column.csv", cli(2, b"0.1\n0.2\n-0.3\n1e3\n", fs=250.0))
write("fuzz_cli_readers", "time-semicolon.csv", cli(2, b"time;ECG;V5\r\n0;0.1;0.2\r\n0.004;0.3;0.1\r\n0.008;-0.2;0\r\n"))
write("fuzz_cli_readers", "tab-nan.csv", cli(0, b"t\tv\n0\tnan\n0.005\tinf\n", signal=1))
write("fuzz_cli_readers", "ecg.edf", cli(3, edf(["ECG"], 2, 200)))
write("fuzz_cli_readers", "two-signals-plus.edf", cli(1, edf(["EEG", "ECG II"], 1, 100, duration=0.5, plus=True), signal=2))

# --- fuzz_emxarray ----------------------------------------------------------
def op(code, dims, extents, extra=b""):
    return struct.pack("<Bb", code, dims) + struct.pack("<%di" % len(extents), *extents) + extra


write("fuzz_emxarray", "create-grow-destroy",
      op(0, 2, [3, 4]) + op(5, 0, [], b"\0" + struct.pack("<ii", 100, 7)) + op(9, 0, [], b"\0"))
write("fuzz_emxarray", "odd-extents",
      op(1, 3, [0, -1, 5]) + op(2, 4, [65536, 65536, 2, 1]) + op(0, -2, []) + op(3, 2, [-5, 2**31 - 1])
      + op(4, 2, [1000, 1000]) + op(8, 1, [0], struct.pack("<i", 33)))
write("fuzz_emxarray", "many-dims", op(0, 8, [1, 2, 1, 2, 1, 2, 1, 2]) + op(5, 0, [], b"\0" + struct.pack("<8i", *[2] * 8)))
