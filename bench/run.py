"""The bench: calls, streams, collections, pictures, raw data, files, formats, import, both runtimes, sizes, memory;
keeps the figures."""

import argparse
import json
import sys
from pathlib import Path


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=Path, default=Path("build"), help="build tree")
    build = parser.parse_args().build.resolve()
    sys.path[:0] = [str(Path(__file__).parent), str(build / "bench")]
    import arrays
    import calls
    import elements
    import files
    import formats
    import operations
    import raw_data
    import runtimes
    import start
    import streams
    import throughput

    # Fresh processes first: the calls pin this process, and its children with it, to one core.
    started = start.print_import(build / "bench")
    start.print_sizes(build / "python" / "zelmor")
    start.print_memory()
    print()
    both = runtimes.run(build)
    print()
    moved = streams.run()
    print()
    crossed = elements.run()
    print()
    worked = operations.run()
    print()
    raw = raw_data.run()
    print()
    held = arrays.run()
    print()
    done = files.run()
    print()
    converted = formats.run()
    print()
    moved_on = throughput.run()
    print()
    results = calls.run()

    met = [result.met for result in results] + [result.met for result in moved] + [result.met for result in crossed]
    met += [result.met for result in worked] + [result.met for result in raw if result.limit is not None]
    met += [result.met for result in held if result.limit is not None]
    met += [met_one for result in done for met_one in result.met]
    met += [result.met for result in converted]
    met += [result.met for result in moved_on]
    met += [cost.met for cost in both if cost.limit is not None and cost.theirs]
    met.append(started.met)
    print(f"\ntargets: {sum(met)} of {len(met)} met")
    figures = {
        "import_ms": {"processor": started.processor, "clock": started.net, "statement": started.statement},
        "arrays_s": {result.name: {"zelmor": result.ours, "copy": result.copy, "pillow": result.pillow}
                     for result in held},
        "calls_ns": {result.case.name: {key: result.median(key) for key in result.rounds} for result in results},
        "elements_ms": {result.case.name: {key: result.median(key) for key in result.rounds} for result in crossed},
        "files": {result.name: result.figures for result in done},
        "formats_s": {result.name: {"zelmor": result.ours, "program": result.theirs} for result in converted},
        "operations": {result.name: {"zelmor": result.ours, "pillow": result.theirs} for result in worked},
        "raw_data_s": {result.name: {"zelmor": result.ours, "copy": result.copy, "pillow": result.pillow}
                       for result in raw},
        "runtimes": {cost.key: {"embedded": cost.embedded, "dotnet": cost.dotnet if cost.theirs else None}
                     for cost in both},
        "throughput_s": {str(result.processes): {"zelmor": result.ours, "pillow": result.theirs}
                         for result in moved_on},
        "streams_s": {result.name: {"zelmor": result.ours, "yardstick": result.theirs} for result in moved},
    }
    (build / "bench" / "figures.json").write_text(json.dumps(figures, indent=4) + "\n")
    return 0


if __name__ == "__main__":
    sys.exit(main())
