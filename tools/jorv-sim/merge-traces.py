#!/usr/bin/env python3
"""Puts the --trace files of several jorv-sim runs on one timeline.

usage: merge-traces.py OUT IN...

A run killed without warning leaves its file without the closing text; it is completed here (its
requests still open then are lost with the process). Each run's timestamps count from its own
start, whose steady-clock time is "origin_us": they are shifted onto the earliest run's. Each run
also gets a "jorv-sim running" slice on its own track, from its start to its last event, saying
whether it stopped or was killed.
"""
import json
import sys


def load(path):
    with open(path, encoding="utf-8") as f:
        text = f.read()
    try:
        return json.loads(text), "stopped"
    except json.JSONDecodeError:
        pass
    # Killed: each event is one line, so only the closing text is missing, or at worst the last
    # line was cut short by the kill and goes.
    whole = text.rstrip()
    for kept in (whole, whole[: whole.rfind("\n")]):
        try:
            return json.loads(kept.rstrip().rstrip(",") + "\n]}"), "killed"
        except json.JSONDecodeError:
            continue
    sys.exit(f"{path}: not a jorv-sim trace")


def main(argv):
    if len(argv) < 3:
        sys.exit(__doc__)
    runs = [load(path) for path in argv[2:]]
    origin = min(doc["origin_us"] for doc, _ in runs)
    events = []
    dropped = 0
    for doc, end in runs:
        shift = doc["origin_us"] - origin
        last = 0
        service = None
        for event in doc["traceEvents"]:
            if "ts" in event:
                event["ts"] += shift
                last = max(last, event["ts"] + event.get("dur", 0))
            elif event.get("args", {}).get("name") == "jorv-sim":
                service = event["pid"]
            events.append(event)
        if service is not None:
            events.append({"ph": "X", "name": "jorv-sim running", "pid": service,
                           "tid": service, "ts": shift, "dur": max(0, last - shift),
                           "args": {"end": end}})
        dropped += doc.get("otherData", {}).get("dropped", 0)
    merged = {"displayTimeUnit": "ms", "traceEvents": events,
              "otherData": {"runs": len(runs), "dropped": dropped}}
    with open(argv[1], "w", encoding="utf-8") as f:
        json.dump(merged, f)
        f.write("\n")


if __name__ == "__main__":
    main(sys.argv)
