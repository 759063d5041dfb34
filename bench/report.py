#!/usr/bin/env python3
"""Runs the benchmarks of the release and peers trees and writes docs/benchmarks.md.

Warm figures: medians of --reps repetitions inside one benchmark process, ours and the peers'
in the same run. Cold figures: the first run in a fresh process (one iteration), min, median and
max over --cold processes started by hyperfine. Called by bench/report.sh, which installs the
peers and builds the trees first.
"""
import argparse
import datetime
import json
import os
import platform
import shlex
import statistics
import subprocess
import sys
import tempfile

CLOUDS = ["uniform", "clustered", "surface"]


def log(msg):
    print(msg, file=sys.stderr, flush=True)


def load():
    return " / ".join(f"{x:.2f}" for x in os.getloadavg())


# Counters that Google Benchmark reports as inverted rates, in seconds per item.
SECONDS_COUNTERS = {"per_box", "per_point"}


def metric(entry, key):
    """A figure of a benchmark entry: a counter (in ns when it counts seconds), or the real time
    in ms."""
    if key in entry:
        return float(entry[key]) * (1e9 if key in SECONDS_COUNTERS else 1.0)
    scale = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}[entry["time_unit"]]
    return float(entry["real_time"]) * scale


class Runner:
    def __init__(self, args):
        self.args = args
        self.tmp = tempfile.mkdtemp(prefix="krgeom-report-")

    def warm_command(self, binary, pattern, reps=None, min_time=None):
        reps = reps or self.args.reps
        cmd = [binary, f"--benchmark_filter={pattern}", f"--benchmark_repetitions={reps}",
               "--benchmark_report_aggregates_only=true"]
        if min_time is not None:  # one iteration per repetition for long benchmarks
            cmd.append(f"--benchmark_min_time={min_time}")
        return cmd

    def warm(self, binary, pattern, key, reps=None, min_time=None):
        """name -> median of `key` over the repetitions, for every benchmark matching."""
        cmd = self.warm_command(binary, pattern, reps, min_time)
        log(f"warm: {shlex.join(cmd)}  (load {load()})")
        # Results go to a file: some benchmarks print lines of their own on standard output.
        out_file = os.path.join(self.tmp, "warm.json")
        subprocess.run(cmd + [f"--benchmark_out={out_file}", "--benchmark_out_format=json"],
                       check=True, stdout=subprocess.DEVNULL)
        with open(out_file) as f:
            doc = json.load(f)
        result = {}
        for e in doc["benchmarks"]:
            if e.get("aggregate_name") == "median":
                result[e["run_name"]] = metric(e, key)
            elif e.get("run_type") == "iteration" and e["run_name"] not in result:
                result[e["run_name"]] = metric(e, key)
        return result, shlex.join(cmd)

    def cold_command(self, binary, name):
        return [binary, f"--benchmark_filter=^{name}$", "--benchmark_min_time=1e-9"]

    def hyperfine(self, command):
        """Runs the shell command `command` in fresh processes; returns the whole-process wall
        times in seconds."""
        export = os.path.join(self.tmp, "hyperfine.json")
        subprocess.run(["hyperfine", "--runs", str(self.args.cold), "--warmup", "0", "--style",
                        "none", "--export-json", export, command], check=True,
                       capture_output=True, text=True)
        with open(export) as f:
            return json.load(f)["results"][0]["times"]

    def cold(self, binary, name, key):
        """(min, median, max) of `key` for one benchmark run once in each fresh process."""
        out_dir = tempfile.mkdtemp(dir=self.tmp)
        cmd = shlex.join(self.cold_command(binary, name))
        log(f"cold: {cmd}  (load {load()})")
        # Each process writes its results to a file of its own.
        self.hyperfine(f"{cmd} --benchmark_out=$(mktemp -p {shlex.quote(out_dir)}) "
                       "--benchmark_out_format=json >/dev/null")
        values = []
        for name_ in sorted(os.listdir(out_dir)):
            with open(os.path.join(out_dir, name_)) as f:
                values += [metric(e, key) for e in json.load(f)["benchmarks"]]
        return spread(values), f'hyperfine --runs {self.args.cold} "{cmd}"'

    def cold_program(self, binary, op):
        """(min, median, max) of the ns-per-face figure a cold program prints."""
        out_file = os.path.join(self.tmp, "cold.txt")
        open(out_file, "w").close()
        cmd = shlex.join([binary, op])
        log(f"cold: {cmd}  (load {load()})")
        self.hyperfine(f"{cmd} >> {shlex.quote(out_file)}")
        values = []
        with open(out_file) as f:
            for line in f:
                # "<op>: <ms> ms, <ns> ns per face"
                values.append(float(line.split(",")[1].split()[0]))
        return spread(values), f'hyperfine --runs {self.args.cold} "{cmd}"'


def spread(values):
    return (min(values), statistics.median(values), max(values)) if values else None


def fmt(v, unit):
    if v is None:
        return "–"
    if unit == "ns" and v >= 1000:
        return f"{v / 1000:.2f} µs"
    if unit == "ns":
        return f"{v:.0f} ns" if v >= 100 else f"{v:.1f} ns"
    return f"{v:.1f} {unit}" if v < 100 else f"{v:.0f} {unit}"


def fmt_cold(s, unit):
    if s is None:
        return "–"
    return f"{fmt(s[1], unit)} ({fmt(s[0], unit)}–{fmt(s[2], unit)})"


def ratio(peer, ours):
    return f"{peer / ours:.2f}×" if peer and ours else "–"


class Table:
    def __init__(self, title, intro, columns):
        self.lines = [f"## {title}", "", intro, "", "| " + " | ".join(columns) + " |",
                      "|" + "---|" * len(columns)]
        self.width = len(columns)
        self.commands = []

    def row(self, cells):
        cells = cells + ["–"] * (self.width - len(cells))  # rows without a peer
        self.lines.append("| " + " | ".join(cells) + " |")

    def command(self, cmd):
        if cmd not in self.commands:
            self.commands.append(cmd)

    def text(self):
        cmds = ["", "Commands, in row order (run from the repository root):", ""]
        cmds += [f"- `{c}`" for c in self.commands]
        return "\n".join(self.lines + cmds) + "\n"


def peer_rows(run, table, binary, rows, key, unit, cold, min_time=None):
    """rows: (label, our benchmark, [(peer label, peer benchmark)]). Ratios are peer / ours,
    so above 1 means krGeom is faster."""
    pattern = "^(" + "|".join(
        [r[1] for r in rows] + [p[1] for r in rows for p in r[2]]) + ")$"
    warm, cmd = run.warm(binary, pattern, key, min_time=min_time)
    table.command(cmd)
    for label, ours, peers in rows:
        cells = [label, fmt(warm.get(ours), unit)]
        cold_ours = None
        if cold:
            cold_ours, ccmd = run.cold(binary, ours, key)
            table.command(ccmd)
        cells.append(fmt_cold(cold_ours, unit))
        for _, peer in peers:
            cells += [fmt(warm.get(peer), unit), ratio(warm.get(peer), warm.get(ours))]
            if cold:
                cold_peer, ccmd = run.cold(binary, peer, key)
                table.command(ccmd)
                cells += [fmt_cold(cold_peer, unit),
                          ratio(cold_peer and cold_peer[1], cold_ours and cold_ours[1])]
        table.row(cells)


def arrays(run, bench, cold):
    t = Table("Arrays", "`Array<float>` element access through `operator[]`, 4,096 floats per "
              "pass, in a `MoveableArrayAllocator` holding N blocks (goal: 1 and 1,000 blocks "
              "at most 1.2× apart); then two arrays read alternately, so that no access finds its "
              "block at the most recent place. Warm medians of CPU time; cold: the first pass in a "
              "fresh process.",
              ["storage", "time per pass", "× the fewest blocks", "cold", "× the fewest blocks"])
    binary = os.path.join(bench, "array_bench")
    warm, cmd = run.warm(binary, "BM_Array(Indexed|Interleaved)Sum", "cpu_time")
    t.command(cmd)
    for bench_name, base, cases in [
            ("BM_ArrayIndexedSum", 1, [(0, "heap buffer"), (1, "1 block"), (2, "2 blocks"),
                                       (65, "65 blocks"), (1000, "1,000 blocks")]),
            ("BM_ArrayInterleavedSum", 2, [(0, "two arrays alternating, heap"),
                                           (2, "two arrays alternating, 2 blocks"),
                                           (65, "two arrays alternating, 65 blocks"),
                                           (1000, "two arrays alternating, 1,000 blocks")])]:
        one = warm.get(f"{bench_name}/{base}")
        colds = {}
        if cold:
            for arg, _ in cases:
                colds[arg], ccmd = run.cold(binary, f"{bench_name}/{arg}", "cpu_time")
                t.command(ccmd)
        cold_one = colds.get(base)
        for arg, label in cases:
            v = warm.get(f"{bench_name}/{arg}")
            cells = [label, fmt(v, "ns"), f"{v / one:.2f}" if v and one else "–"]
            if cold:
                c = colds[arg]
                cells += [fmt_cold(c, "ns"),
                          f"{c[1] / cold_one[1]:.2f}" if c and cold_one else "–"]
            t.row(cells)
    return t


def half_edge(run, peers_bench, release_bench, cold):
    t = Table("Half-edge mesh", "The 1,000,000-triangle torus built face by face, then 500,000 "
              "flips, 500,000 edge splits and 31,250 collapses (`bench/topo_mesh_torus.h`), "
              "thread CPU time per face or edit. Goals: build at most 200 ns per face and "
              "faster than OpenMesh; edits no slower than OpenMesh. Ratio = peer / krGeom.",
              ["operation", "krGeom warm", "krGeom cold", "OpenMesh warm", "ratio",
               "OpenMesh cold", "ratio", "CGAL warm", "ratio", "CGAL cold", "ratio"])
    binary = os.path.join(peers_bench, "topo_mesh_peers_bench")
    size = "500/1000/manual_time"
    rows = [("build, ns per face", f"BM_TopoMeshBuild/{size}",
             [("OpenMesh", f"BM_OpenMeshBuild/{size}"), ("CGAL", f"BM_CgalBuild/{size}")])]
    for ours, om, cg, label in [("SwapEdge", "Flip", "Flip", "swap, ns per edit"),
                                ("SubdivideEdge", "SplitEdge", "SplitEdge", "subdivide edge"),
                                ("CollapseEdge", "Collapse", "Collapse", "collapse edge")]:
        rows.append((label, f"BM_TopoMesh{ours}/{size}",
                     [("OpenMesh", f"BM_OpenMesh{om}/{size}"), ("CGAL", f"BM_Cgal{cg}/{size}")]))
    # ns_per_face for builds, ns_per_edit for edits: one pass each.
    build_rows, edit_rows = rows[:1], rows[1:]
    # Each iteration builds the million-face torus: one iteration per repetition.
    peer_rows(run, t, binary, build_rows, "ns_per_face", "ns", cold, min_time=1e-9)
    peer_rows(run, t, binary, edit_rows, "ns_per_edit", "ns", cold, min_time=1e-9)
    if cold:
        program = os.path.join(peers_bench, "topo_mesh_cold_peers")
        figures = {}
        for op in ["build", "openmesh-build", "cgal-build"]:
            figures[op], cmd = run.cold_program(program, op)
            t.command(cmd)
        ours = figures["build"]
        t.row(["build, own cold program", "", fmt_cold(ours, "ns"), "", "",
               fmt_cold(figures["openmesh-build"], "ns"),
               ratio(figures["openmesh-build"][1], ours[1]), "", "",
               fmt_cold(figures["cgal-build"], "ns"), ratio(figures["cgal-build"][1], ours[1])])
    return t


def transaction_log(run, release_bench, cold):
    t = Table("Transaction log", "The same edits on a mesh of about 1,000,000 triangles with "
              "the transaction log off and on (goals: topological edits at most 1.5×, "
              "`setPoint` at most 3×), ns per edit. Warm: medians of a run of the whole "
              "benchmark (the log cannot be switched off again, so the log-off edits run first); "
              "cold: one batch of edits in a fresh process that builds the mesh and runs only "
              "that benchmark.",
              ["edit", "log off warm", "log on warm", "on / off", "log off cold", "log on cold",
               "on / off"])
    binary = os.path.join(release_bench, "topo_mesh_state_bench")
    warm, cmd = run.warm(binary, ".", "ns_per_edit", reps=3)
    t.command(cmd)
    for edit in ["SetPoint", "SwapEdge", "SubdivideFace"]:
        off, on = warm.get(f"BM_{edit}_LogOff"), warm.get(f"BM_{edit}_LogOn")
        cells = [edit, fmt(off, "ns"), fmt(on, "ns"), f"{on / off:.2f}" if on and off else "–"]
        if cold:
            figures = []
            for mode in ["LogOff", "LogOn"]:
                c, ccmd = run.cold(binary, f"BM_{edit}_{mode}", "ns_per_edit")
                t.command(ccmd)
                figures.append(c)
            cells += [fmt_cold(figures[0], "ns"), fmt_cold(figures[1], "ns"),
                      f"{figures[1][1] / figures[0][1]:.2f}" if all(figures) else "–"]
        t.row(cells)
    return t


def sizes(large):
    return [1000000, 10000000] if large else [1000000]


CGAL_COLUMNS = ["case", "krGeom warm", "krGeom cold", "CGAL warm", "ratio", "CGAL cold", "ratio"]


def against_cgal(run, binary, title, intro, cases, cold):
    """A table of krGeom against CGAL. cases: (label, our benchmark, CGAL's or None, counter,
    unit)."""
    t = Table(title, intro, CGAL_COLUMNS)
    for label, ours, peer, key, unit in cases:
        peers = [("CGAL", peer)] if peer else []
        peer_rows(run, t, binary, [(label, ours, peers)], key, unit, cold)
    return t


def kd_tree(run, peers_bench, cold, large):
    cases = []
    for n in sizes(large):
        for cloud in CLOUDS:
            cases.append((f"insert, {cloud} {n:,}, per point",
                          f"KdInsert/random/{cloud}/{n}/{n}/real_time", None, "per_point", "ns"))
            for box in ["small", "large"]:
                cases.append((f"search {box}, {cloud} {n:,}, per box",
                              f"KdSearch/random/{box}/{cloud}/{n}/{n}/real_time",
                              f"CgalKdSearch/{box}/{cloud}/{n}/{n}/real_time", "per_box", "ns"))
    return against_cgal(
        run, os.path.join(peers_bench, "kd_tree_peers_bench"), "KD-tree",
        "Insertion in random order (goal at most 0.6 µs per point), then 10,000 box searches "
        "holding about 10 (small) or 200 (large) points, against CGAL's `Kd_tree` with "
        "`Fuzzy_iso_box` (goal at least 2× faster). Ratio = CGAL / krGeom.", cases, cold)


# Tree builds against CGAL: (binary, intro, our name, CGAL's name, per-leaf counts, counter,
# unit). Names take {cloud}, {n} and {leaf}.
TREE_BUILDS = {
    "Octree": ("octree_peers_bench",
               "Building the octree over 1 (and 10) million points, 8, 32 and 64 per leaf, "
               "against CGAL's `Octree::refine` (goal at least 5× faster, and at most 25 ns per "
               "point for 1 M uniform points with 32 per leaf). ns per point; ratio = CGAL / "
               "krGeom.",
               "OctreeBuild/{cloud}/{n}/{leaf}/manual_time",
               "CgalOctreeRefine/{cloud}/{n}/{leaf}/manual_time", [8, 32, 64], "ns_per_pt", "ns"),
    "Quadtree": ("quadtree_peers_bench",
                 "Building the quadtree over 1 (and 10) million points against CGAL's "
                 "`Quadtree::refine` (goal at least 5× faster). ms per build; ratio = CGAL / "
                 "krGeom.",
                 "Quadtree/{cloud}/{n}/real_time", "CgalQuadtree/{cloud}/{n}/real_time", [None],
                 "real_time", "ms"),
}


def tree_build(run, peers_bench, cold, large, title):
    binary, intro, ours, theirs, leaves, key, unit = TREE_BUILDS[title]
    cases = []
    for n in sizes(large):
        for cloud in CLOUDS:
            for leaf in leaves:
                label = f"{cloud} {n:,}" + (f", {leaf} per leaf" if leaf else "")
                names = [x.format(cloud=cloud, n=n, leaf=leaf) for x in (ours, theirs)]
                cases.append((label, names[0], names[1], key, unit))
    return against_cgal(run, os.path.join(peers_bench, binary), title, intro, cases, cold)


def machine():
    model = "unknown processor"
    try:
        with open("/proc/cpuinfo") as f:
            for line in f:
                if line.startswith("model name"):
                    model = line.split(":", 1)[1].strip()
                    break
    except OSError:
        pass
    return f"{model}, {os.cpu_count()} cores, Linux {platform.release()}"


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--release", default="build/release/bench")
    parser.add_argument("--peers", default="build/peers/bench")
    parser.add_argument("--out", default="docs/benchmarks.md")
    parser.add_argument("--reps", type=int, default=5, help="warm repetitions")
    parser.add_argument("--cold", type=int, default=5, help="fresh processes per cold figure")
    parser.add_argument("--no-cold", action="store_true")
    parser.add_argument("--large", action="store_true", help="also 10 million points")
    parser.add_argument("--only", default="",
                        help="comma-separated families; the others' tables are kept")
    args = parser.parse_args()
    run = Runner(args)
    cold = not args.no_cold
    families = {
        "arrays": lambda: arrays(run, args.release, cold),
        "half-edge": lambda: half_edge(run, args.peers, args.release, cold),
        "log": lambda: transaction_log(run, args.release, cold),
        "kd-tree": lambda: kd_tree(run, args.peers, cold, args.large),
        "octree": lambda: tree_build(run, args.peers, cold, args.large, "Octree"),
        "quadtree": lambda: tree_build(run, args.peers, cold, args.large, "Quadtree"),
    }
    chosen = [f for f in families if not args.only or f in args.only.split(",")]
    # With --only, the other families' tables of the existing file are kept, in family order.
    kept = existing_tables(args.out) if args.only else {}
    done = {}
    for family in chosen:
        before, when = load(), datetime.datetime.now(datetime.timezone.utc)
        text = families[family]().text()
        done[TITLES[family]] = (text + f"\nMeasured {when:%Y-%m-%d %H:%M} UTC; load average "
                                f"(1/5/15 min) {before} before, {load()} after.\n")
        tables = [done.get(TITLES[f], kept.get(TITLES[f])) for f in families]
        write(args, cold, [t for t in tables if t])  # survives a later failure


TITLES = {"arrays": "Arrays", "half-edge": "Half-edge mesh", "log": "Transaction log",
          "kd-tree": "KD-tree", "octree": "Octree", "quadtree": "Quadtree"}


def existing_tables(path):
    """Title -> text of each "## " section of an earlier report."""
    try:
        with open(path) as f:
            text = f.read()
    except OSError:
        return {}
    sections = {}
    for part in text.split("\n## ")[1:]:
        title = part.split("\n", 1)[0].strip()
        sections[title] = "## " + part.rstrip("\n") + "\n"
    return sections


def write(args, cold, tables):
    header = [
        "# Benchmark figures", "",
        "Written by `bench/report.sh`; do not edit by hand (hand-written analysis lives in "
        "[benchmarks-notes.md](benchmarks-notes.md)).", "",
        f"- Machine: {machine()}. Each table says when it was measured and the load average "
        "around it (the machine is shared: a high load inflates absolute times more than "
        "ratios, krGeom and its peers running in turn).",
        f"- Warm: median of {args.reps} repetitions inside one benchmark process; krGeom and "
        "its peers in the same run.",
        f"- Cold: the first run in a fresh process (one iteration), median (min–max) over "
        f"{args.cold} processes started by hyperfine." if cold else "- Cold figures: not run.",
        "- Ratios are peer / krGeom: above 1 means krGeom is faster.", ""]
    with open(args.out, "w") as f:
        f.write("\n".join(header) + "\n" + "\n".join(tables))
    log(f"wrote {args.out} ({len(tables)} tables)")


if __name__ == "__main__":
    main()
