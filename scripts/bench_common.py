"""Reading Google Benchmark's JSON output: one figure per benchmark run name.

A figure is the median over the repetitions when the run has them, otherwise
the single run. Times are converted to nanoseconds. Standard library only.
"""

import json

_NS_PER_UNIT = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def load(path):
    with open(path, encoding="utf-8") as f:
        return json.load(f)


def _time_field(entry):
    # Manual-time and real-time benchmarks (release, end to end) measure the
    # wall clock; every other figure is the benchmark thread's CPU time, which
    # other programs on the machine disturb the least.
    name = entry.get("run_name", entry["name"])
    if "manual_time" in name or "real_time" in name:
        return "real_time"
    return "cpu_time"


def figures(data):
    """Maps each run name to {"ns": median time, "cv": spread, "counters": {...}}.

    "cv" is the coefficient of variation of the repetitions (stddev / mean),
    None for a benchmark that ran once.
    """
    medians = {}
    spreads = {}
    singles = {}
    for entry in data.get("benchmarks", []):
        if entry.get("error_occurred"):
            continue
        run = entry.get("run_name", entry["name"])
        ns = entry[_time_field(entry)] * _NS_PER_UNIT[entry.get("time_unit", "ns")]
        counters = {
            k: v
            for k, v in entry.items()
            if k not in _STANDARD_KEYS and isinstance(v, (int, float))
        }
        value = {"ns": ns, "cv": None, "counters": counters}
        if entry.get("run_type") == "aggregate":
            if entry.get("aggregate_name") == "median":
                medians[run] = value
            elif entry.get("aggregate_name") == "cv":
                spreads[run] = entry[_time_field(entry)]
        else:
            singles.setdefault(run, value)
    result = dict(singles)
    result.update(medians)
    for run, cv in spreads.items():
        if run in result:
            result[run]["cv"] = cv
    return result


def find(figs, prefix):
    """The figure whose run name is `prefix` or starts with `prefix` + "/"."""
    if prefix in figs:
        return figs[prefix]
    for name, value in figs.items():
        if name.startswith(prefix + "/"):
            return value
    return None


_STANDARD_KEYS = {
    "name", "family_index", "per_family_instance_index", "run_name", "run_type",
    "repetitions", "repetition_index", "threads", "iterations", "real_time",
    "cpu_time", "time_unit", "aggregate_name", "aggregate_unit",
}
