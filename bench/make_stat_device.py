#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes a realistic 600-device stat/device answer (about 15 KB per device) for the benchmarks,
or, given a number, a large site of that many access points alone.

    make_stat_device.py EXAMPLES OUT [ACCESS_POINTS]

Deterministic: the same bytes on every machine, so the C++ decoder and Python's json.loads read
exactly the same file. Built from the real-shaped example objects in shared/examples. A large
site's access points are the example with one radio, one SSID and one port and without the
controller's aggregate statistics (about 6.5 KB each), so that 10,000 of them stay within what
Lanternfold accepts from a controller.
"""
import copy
import json
import random
import sys

examples, out = sys.argv[1], sys.argv[2]
large = int(sys.argv[3]) if len(sys.argv) > 3 else 0
ap = json.load(open(f"{examples}/access-point.json"))
sw = json.load(open(f"{examples}/switch.json"))
rng = random.Random(600)
models = ["U7PG2", "U6LR", "U6-Pro", "U6-Lite", "UAP-AC-M", "U7-Pro", "UAL6", "UAP-AC-HD"]
devices = []
for i in range(600):
    kind = rng.random()
    base = sw if kind < 0.25 else ap
    d = copy.deepcopy(base)
    d["mac"] = "f0:9f:c2:%02x:%02x:%02x" % (i >> 16 & 255, i >> 8 & 255, i & 255)
    d["_id"] = "%024x" % (0x5A4C0220000 + i)
    d["ip"] = "10.%d.%d.%d" % (i // 65536, i // 256 % 256, i % 256)
    d["state"] = rng.choice([1, 1, 1, 1, 0, 4, 5])
    if base is ap:
        d["model"] = rng.choice(models)
        d["type"] = "uap"
        if rng.random() < 0.1:
            d.pop("name", None)
        else:
            d["name"] = "AP %03d" % i
    else:
        d["name"] = "Switch %03d" % i
    d["uptime"] = rng.randrange(1, 10_000_000)
    d["bytes"] = rng.randrange(1, 10**12)
    devices.append(d)
if large:
    compact = copy.deepcopy(ap)
    for key in ("stat", "uplink", "last_uplink"):
        compact.pop(key, None)
    for key in ("vap_table", "port_table", "radio_table", "radio_table_stats"):
        compact[key] = compact[key][:1]
    devices = []
    for i in range(large):
        d = copy.deepcopy(compact)
        d["mac"] = "f0:9f:c2:%02x:%02x:%02x" % (i >> 16 & 255, i >> 8 & 255, i & 255)
        d["_id"] = "%024x" % (0x5A4C0230000 + i)
        d["ip"] = "10.%d.%d.%d" % (i // 65536, i // 256 % 256, i % 256)
        d["state"] = rng.choice([1, 1, 1, 1, 0, 4, 5])
        d["model"] = rng.choice(models)
        d["name"] = "AP %05d" % i
        d["uptime"] = rng.randrange(1, 10_000_000)
        devices.append(d)
with open(out, "w") as f:
    json.dump({"meta": {"rc": "ok"}, "data": devices}, f, separators=(",", ":"))
