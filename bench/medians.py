#!/usr/bin/python3
"""Median wall time per case and tool from lines "CASE TOOL START END", with each tool's ratio
to the fastest peer (every tool but ftpxfer). Usage: medians.py RESULTS"""
import collections
import statistics
import sys

times = collections.defaultdict(lambda: collections.defaultdict(list))
for line in open(sys.argv[1]):
    case, tool, start, end = line.split()
    times[case][tool].append(float(end) - float(start))
width = max([len(case) for case in times] + [4])
print("%-*s %-8s %9s %8s  %s" % (width, "case", "tool", "median s", "ratio", "runs"))
for case, tools in times.items():
    medians = {tool: statistics.median(runs) for tool, runs in tools.items()}
    peers = [m for tool, m in medians.items() if tool != "ftpxfer"]
    fastest = min(peers) if peers else None
    for tool, median in medians.items():
        ratio = "%.2f" % (median / fastest) if fastest else "-"
        print("%-*s %-8s %9.3f %8s  %s" % (width, case, tool, median, ratio,
                                             " ".join("%.2f" % r for r in tools[tool])))
    print()
