#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The Lanternfold developers
# SPDX-License-Identifier: GPL-3.0-or-later
"""Writes a realistic Protect camera list of N cameras (default 20) for the benchmarks.

Deterministic, like make_stat_device.py: the same bytes on every machine. Built from the
real-shaped example camera in shared/examples, with a mix of states and models.
"""
import copy
import json
import random
import sys

examples, out = sys.argv[1], sys.argv[2]
count = int(sys.argv[3]) if len(sys.argv) > 3 else 20
camera = json.load(open(f"{examples}/camera.json"))
rng = random.Random(20)
models = ["UVC G4 Instant", "UVC G4 Bullet", "UVC G5 Flex", "UVC G4 Dome", "UVC AI Pro"]
cameras = []
for i in range(count):
    c = copy.deepcopy(camera)
    c["id"] = "%024x" % (0x61B3F5C70000 + i)
    c["mac"] = "72C7836A%04X" % i
    c["host"] = "192.168.6.%d" % (100 + i)
    c["type"] = rng.choice(models)
    c["name"] = "Camera %02d" % i
    c["state"] = rng.choice(["CONNECTED", "CONNECTED", "CONNECTED", "DISCONNECTED"])
    c["isConnected"] = c["state"] == "CONNECTED"
    c["uptime"] = rng.randrange(1, 10_000_000)
    cameras.append(c)
with open(out, "w") as f:
    json.dump(cameras, f, separators=(",", ":"))
