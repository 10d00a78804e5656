#!/usr/bin/env bash
# Character error rate of the receiver against signal-to-noise ratio.
#
# Renders several texts with `tarn-psk31 encode`, adds white Gaussian noise
# (encode --noise, several seeds) at SNRs in 1 dB steps, decodes each
# recording with `tarn-psk31 decode` and compares the text by edit distance
# (characters printed before or after the transmission are not counted).
#
# SNR is the usual one: the mean power of the signal over the transmission
# against the noise power within 2500 Hz. White noise of RMS sigma at 8000
# Hz spreads sigma^2 over 0 .. 4000 Hz, so 2500 Hz of it holds
# sigma^2 * 2500 / 4000.
#
# Usage: scripts/copy-in-noise.sh [PROGRAM]   (default build/release/tools/tarn-psk31)
# Prints the table (Markdown) and the SNRs where the CER crosses 1 %, 5 %
# and 20 %. About a minute on one core. Needs python3.
set -euo pipefail
cd "$(dirname "$0")/.."
program=$(realpath "${1:-build/release/tools/tarn-psk31}")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

python3 - "$program" "$work" <<'EOF'
import math, struct, subprocess, sys

program, work = sys.argv[1], sys.argv[2]
texts = [
    "CQ CQ CQ de N0CALL N0CALL N0CALL pse k\n",
    "N1ABC de N0CALL: good morning, thanks for the call. Your signal is 599 here in "
    "Springfield. Name is Pat, rig is a small transceiver at 20 watts into a dipole. "
    "How copy? N1ABC de N0CALL kn\n",
    "The quick brown fox jumps over the lazy dog 1234567890 times; PACK MY BOX WITH FIVE "
    "DOZEN LIQUOR JUGS! (test) <sk>\n",
    "WX here is cloudy with light rain, temp 12 C. QTH is near the river, locator FN42. "
    "Will QRT for dinner soon, 73 and hope to cu agn es gl\n",
]
seeds = list(range(1, 9))
snrs = list(range(-16, 1))  # dB

def samples(path):
    # The float WAV encode writes: find the data chunk, read little-endian floats.
    data = open(path, "rb").read()
    at = 12
    while at + 8 <= len(data):
        kind, size = data[at:at + 4], struct.unpack_from("<I", data, at + 4)[0]
        if kind == b"data":
            count = size // 4
            return struct.unpack_from("<%df" % count, data, at + 8)
        at += 8 + size + (size & 1)
    raise SystemExit("no data chunk in " + path)

def distance(a, b):
    # Edit distance of the sent text `a` to the part of the copy `b` that
    # best matches it: what the receiver prints before the transmission
    # starts or after it ends (noise, the idle that opens the squelch) is not
    # a copy error; every dropped, wrong or extra character inside is.
    previous = [0] * (len(b) + 1)
    for i, x in enumerate(a, 1):
        current = [i]
        for j, y in enumerate(b, 1):
            current.append(min(previous[j] + 1, current[j - 1] + 1, previous[j - 1] + (x != y)))
        previous = current
    return min(previous)

def run(*arguments, stdin=None):
    return subprocess.run([program, *arguments], input=stdin, stdout=subprocess.PIPE,
                          stderr=subprocess.PIPE, check=True).stdout

power = []
for n, text in enumerate(texts):
    clean = "%s/clean%d.wav" % (work, n)
    run("encode", "-o", clean, stdin=text.encode())
    x = samples(clean)
    power.append(sum(v * v for v in x) / len(x))

errors = {snr: 0 for snr in snrs}
total = len(seeds) * sum(len(t) for t in texts)
for snr in snrs:
    for n, text in enumerate(texts):
        # sigma^2 * 2500 / 4000 = P / 10^(SNR/10)
        sigma = math.sqrt(power[n] / 10 ** (snr / 10) * 4000 / 2500)
        for seed in seeds:
            noisy = "%s/noisy.wav" % work
            run("encode", "--noise", repr(sigma), "--seed", str(seed), "--lead-in", "1",
                "-o", noisy, stdin=text.encode())
            got = run("decode", noisy)
            errors[snr] += distance(text.encode(), got)

cer = {snr: errors[snr] / total for snr in snrs}
print("| SNR in 2500 Hz (dB) | CER |")
print("|---|---|")
for snr in snrs:
    print("| %d | %.2f %% |" % (snr, 100 * cer[snr]))
print()
print("mean signal power: " + ", ".join("%.4f" % p for p in power))
for limit in (0.01, 0.05, 0.20):
    # The SNR where the CER, falling with SNR, last crosses the limit (linear
    # between the two steps around it).
    crossing = None
    for low, high in zip(snrs, snrs[1:]):
        if cer[low] > limit >= cer[high]:
            crossing = low + (cer[low] - limit) / (cer[low] - cer[high])
    text = "%+.1f dB" % crossing if crossing is not None else "outside the range"
    print("CER %g %%: %s" % (100 * limit, text))
EOF
