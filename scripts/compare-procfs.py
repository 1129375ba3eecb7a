#!/usr/bin/env python3
"""Runs the Linux PDH provider and the standard tools over the same interval
and prints their numbers side by side: processor shares against mpstat, disk
rates against iostat, interface rates against sar, memory against free, free
space against df.

usage: compare-procfs.py [SECONDS] [PATH-TO-procfs_sample]
"""
import os
import subprocess
import sys

SECONDS = int(sys.argv[1]) if len(sys.argv) > 1 else 5
SAMPLE = sys.argv[2] if len(sys.argv) > 2 else os.path.join(
    os.path.dirname(os.path.abspath(__file__)), "..", "build", "procfs-rel", "bench", "procfs", "procfs_sample")
ENV = dict(os.environ, LC_ALL="C", S_TIME_FORMAT="ISO")

PATHS = [r"\Processor(*)\% " + c for c in
         ("Processor Time", "User Time", "Privileged Time", "Idle Time", "Interrupt Time", "DPC Time")]
PATHS += ["\\PhysicalDisk(*)\\" + c for c in
          ("Disk Reads/sec", "Disk Writes/sec", "Disk Read Bytes/sec", "Disk Write Bytes/sec",
           "Avg. Disk Queue Length", "% Disk Time")]
PATHS += [r"\Network Interface(*)\Bytes Received/sec", r"\Network Interface(*)\Bytes Sent/sec",
          r"\Network Interface(*)\Packets Received/sec", r"\Network Interface(*)\Packets Sent/sec"]
PATHS += [r"\Memory\Available Bytes", r"\Memory\Cache Bytes", r"\LogicalDisk(*)\% Free Space",
          r"\LogicalDisk(*)\Free Megabytes"]


def start(args):
    return subprocess.Popen(args, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, env=ENV)


def averages(text, key):
    """The "Average:" table of a sysstat report, as {row name: {column: value}}."""
    rows, header = {}, None
    for line in text.splitlines():
        words = line.split()
        if not words or words[0] != "Average:":
            continue
        if words[1] == key:
            header = words[2:]
        elif header:
            rows[words[1]] = dict(zip(header, map(float, words[2:])))
    return rows


def table(text):
    """A report with a header line that starts with "Device"."""
    rows, header = {}, None
    for line in text.splitlines():
        words = line.split()
        if words and words[0] == "Device":
            header = words[1:]
        elif header and words:
            rows[words[0]] = dict(zip(header, map(float, words[1:])))
    return rows


tools = {
    "ours": start([SAMPLE, str(SECONDS)] + PATHS),
    "mpstat": start(["mpstat", "-P", "ALL", str(SECONDS), "1"]),
    "iostat": start(["iostat", "-y", "-dx", str(SECONDS), "1"]),
    "sar": start(["sar", "-n", "DEV", str(SECONDS), "1"]),
}
out = {name: p.communicate()[0] for name, p in tools.items()}
free = subprocess.run(["free", "-b"], capture_output=True, text=True, env=ENV).stdout
df = subprocess.run(["df", "-B1", "--output=target,size,avail"], capture_output=True, text=True, env=ENV).stdout

ours = {}
for line in out["ours"].splitlines():
    path, instance, value = line.split("\t")
    ours[(path, instance)] = None if value == "invalid" else float(value)

rows = []


def compare(label, path, instance, theirs, tool):
    mine = ours.get((path, instance))
    if mine is None or theirs is None:
        return
    rows.append((label, instance, mine, theirs, tool))


cpu = averages(out["mpstat"], "CPU")
for name, c in cpu.items():
    instance = "_Total" if name == "all" else name
    p = r"\Processor(*)\% "
    compare("% Processor Time", p + "Processor Time", instance, 100 - c["%idle"] - c["%iowait"], "mpstat 100-idle-iowait")
    compare("% User Time", p + "User Time", instance, c["%usr"] + c["%nice"], "mpstat usr+nice")
    compare("% Privileged Time", p + "Privileged Time", instance, c["%sys"] + c["%irq"] + c["%soft"],
            "mpstat sys+irq+soft")
    compare("% Idle Time", p + "Idle Time", instance, c["%idle"] + c["%iowait"], "mpstat idle+iowait")
    compare("% Interrupt Time", p + "Interrupt Time", instance, c["%irq"], "mpstat irq")
    compare("% DPC Time", p + "DPC Time", instance, c["%soft"], "mpstat soft")

for device, d in table(out["iostat"]).items():
    p = "\\PhysicalDisk(*)\\"
    compare("Disk Reads/sec", p + "Disk Reads/sec", device, d["r/s"], "iostat r/s")
    compare("Disk Writes/sec", p + "Disk Writes/sec", device, d["w/s"], "iostat w/s")
    compare("Disk Read Bytes/sec", p + "Disk Read Bytes/sec", device, d["rkB/s"] * 1024, "iostat rkB/s")
    compare("Disk Write Bytes/sec", p + "Disk Write Bytes/sec", device, d["wkB/s"] * 1024, "iostat wkB/s")
    compare("Avg. Disk Queue Length", p + "Avg. Disk Queue Length", device, d.get("aqu-sz"), "iostat aqu-sz")
    compare("% Disk Time", p + "% Disk Time", device, d["%util"], "iostat %util")

for name, n in averages(out["sar"], "IFACE").items():
    p = "\\Network Interface(*)\\"
    compare("Bytes Received/sec", p + "Bytes Received/sec", name, n["rxkB/s"] * 1024, "sar rxkB/s")
    compare("Bytes Sent/sec", p + "Bytes Sent/sec", name, n["txkB/s"] * 1024, "sar txkB/s")
    compare("Packets Received/sec", p + "Packets Received/sec", name, n["rxpck/s"], "sar rxpck/s")
    compare("Packets Sent/sec", p + "Packets Sent/sec", name, n["txpck/s"], "sar txpck/s")

mem = dict(zip(free.splitlines()[0].split(), map(float, free.splitlines()[1].split()[1:])))
compare("Available Bytes", r"\Memory\Available Bytes", "", mem["available"], "free available (after)")
compare("Cache Bytes", r"\Memory\Cache Bytes", "", mem["buff/cache"], "free buff/cache (after)")

for line in df.splitlines()[1:]:
    target, size, avail = line.split()
    if int(size) > 0:
        compare("% Free Space", r"\LogicalDisk(*)\% Free Space", target, 100.0 * int(avail) / int(size),
                "df avail/size")
        compare("Free Megabytes", r"\LogicalDisk(*)\Free Megabytes", target, int(avail) / 1048576.0,
                "df avail")

print(f"{SECONDS} s interval\n")
print(f"{'counter':24} {'instance':10} {'provider':>16} {'tool':>16} {'diff':>12}  tool column")
for label, instance, mine, theirs, tool in rows:
    print(f"{label:24} {instance or '-':10} {mine:16.2f} {theirs:16.2f} {mine - theirs:12.2f}  {tool}")
