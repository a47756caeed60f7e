"""Run one relief operation over many files on Dask.

    from relief import batch
    rows = batch.run("scans/*.tif", "refine", tolerance=0.5, out="meshes", workers=2)
    print(batch.summary_table(rows))

or from a shell:

    python3 -m relief.batch 'scans/*.tif' --op refine --tolerance 0.5 --out meshes [--workers N]
                            [--scheduler ADDRESS]
    python3 -m relief.batch 'scans/*.tif' --op refine --max-error 0.05 --out meshes

One task per file. Without a scheduler address the batch starts a
dask.distributed LocalCluster of worker processes with one thread each (a
process per core by default) and closes it afterwards; with one it connects
a Client to that scheduler (a real cluster, whose workers must be able to
import relief and read the files). Results go beside each input, or into the
output folder. A file that cannot be read or processed becomes a failed row
carrying its error message; the batch itself goes on. A file whose output
another file of the batch would also write (the same stem, as scan.npy and
scan.tif, or the same name in two folders sent to one output folder) is a
failed row saying so, and is not run: the first file in input order keeps
the output.

Operations (the options are those of the function of the same name):
    "mesh"       height field -> <stem>-mesh.ply       threshold, above, scale, step
    "refine"     height field -> <stem>-refined.ply    tolerance, min_height, passes, seed_spacing;
                                                       or max_error, max_triangles, max_points, scale
    "rasterize"  mesh -> <stem>-raster.npy             resolution, mode
    a callable   f(field, **options) over the height field; what it returns is
                 written when it is a Mesh (.ply), a Refinement (its mesh,
                 .ply, with its errors in the row) or an array (.npy), and
                 kept in the row's `value` otherwise.
"""

from __future__ import annotations

import argparse
import contextlib
import dataclasses
import glob
import os
import sys
import time
import uuid
from pathlib import Path
from typing import Any, Callable, Iterable, List, Optional, Sequence, Union

OPERATIONS = ("mesh", "refine", "rasterize")
_OUTPUT_SUFFIX = {"mesh": "-mesh.ply", "refine": "-refined.ply", "rasterize": "-raster.npy"}


@dataclasses.dataclass
class Row:
    """One file's outcome."""

    file: str
    status: str = "ok"  # "ok" or "failed"
    triangles: Optional[int] = None
    max_error: Optional[float] = None
    rms_error: Optional[float] = None
    seconds: float = 0.0
    output: Optional[str] = None
    error: Optional[str] = None
    value: Any = None

    @property
    def ok(self) -> bool:
        return self.status == "ok"


def expand_inputs(inputs: Union[str, os.PathLike, Iterable[Union[str, os.PathLike]]]) -> List[str]:
    """A glob pattern (``**`` allowed), a path, or a list of either -> sorted file list.

    A path that exists is taken as it is, even when it holds pattern characters
    ("scan [1].tif"); folders a pattern matches are left out.
    """
    if isinstance(inputs, (str, os.PathLike)):
        inputs = [inputs]
    files: List[str] = []
    for item in inputs:
        text = os.fspath(item)
        if glob.has_magic(text) and not os.path.lexists(text):
            files.extend(sorted(p for p in glob.glob(text, recursive=True) if not os.path.isdir(p)))
        else:
            files.append(text)  # a missing file becomes a failed row
    return files


def output_path(source: str, suffix: str, out: Optional[str]) -> str:
    """Where the result of `source` goes: beside it, or into the folder `out`."""
    path = Path(source)
    name = path.stem + suffix
    return str((Path(out) if out else path.parent) / name)


def _callable_suffix(fn: Callable) -> str:
    return "-" + getattr(fn, "__name__", "result").strip("<>").replace(" ", "_")


def _output_conflicts(files: Sequence[str], op: Union[str, Callable], out: Optional[str]) -> dict:
    """Index -> error for each file whose output an earlier file of the batch would write too."""
    suffixes = [_OUTPUT_SUFFIX[op]] if isinstance(op, str) else [_callable_suffix(op) + e for e in (".ply", ".npy")]
    claimed: dict = {}
    conflicts = {}
    for i, path in enumerate(files):
        targets = [output_path(path, suffix, out) for suffix in suffixes]
        for target in targets:
            first = claimed.get(os.path.abspath(target))
            if first is not None:
                conflicts[i] = f"ValueError: its output {target} is also the output of {first}"
        if i not in conflicts:
            claimed.update((os.path.abspath(t), path) for t in targets)
    return conflicts


def _write_result(result: Any, row: Row, target_stem: str) -> None:
    import numpy as np

    import relief

    if isinstance(result, relief.Refinement):
        row.max_error, row.rms_error = result.max_error, result.rms_error
        result = result.mesh
    if isinstance(result, relief.Mesh):
        row.triangles = len(result)
        row.output = target_stem + ".ply"
        relief.save_mesh(row.output, result)
    elif isinstance(result, np.ndarray):
        row.output = target_stem + ".npy"
        relief.save_height_field(row.output, result)
    elif result is not None:
        row.value = result


def process_file(path: str, op: Union[str, Callable], options: dict, out: Optional[str]) -> Row:
    """The task run on a worker for one file; never raises."""
    start = time.perf_counter()
    row = Row(file=path)
    try:
        import relief

        if out:
            os.makedirs(out, exist_ok=True)
        if op == "rasterize":
            mesh = relief.load_mesh(path)
            field = relief.rasterize(mesh, **options)
            row.triangles = len(mesh)
            row.output = output_path(path, _OUTPUT_SUFFIX[op], out)
            relief.save_height_field(row.output, field)
        elif op == "mesh":
            mesh = relief.mesh_from_height_field(relief.load_height_field(path), **options)
            if len(mesh) == 0:
                raise ValueError("no valid cell: the mesh is empty")
            row.triangles = len(mesh)
            row.output = output_path(path, _OUTPUT_SUFFIX[op], out)
            relief.save_mesh(row.output, mesh)
        elif op == "refine":
            result = relief.refine(relief.load_height_field(path), **options)
            if len(result.mesh) == 0:
                raise ValueError("empty mesh: no triangle has all its corners on valid pixels")
            row.triangles = len(result.mesh)
            row.max_error, row.rms_error = result.max_error, result.rms_error
            row.output = output_path(path, _OUTPUT_SUFFIX[op], out)
            relief.save_mesh(row.output, result.mesh)
        elif callable(op):
            result = op(relief.load_height_field(path), **options)
            stem = output_path(path, _callable_suffix(op), out)
            _write_result(result, row, stem)
        else:
            raise ValueError(f"unknown operation {op!r}")
    except (Exception, SystemExit) as error:  # a bad file, or a callable's sys.exit, is a failed row
        row.status = "failed"
        row.error = f"{type(error).__name__}: {error}"
        row.output = None
    row.seconds = time.perf_counter() - start
    return row


def run(
    inputs: Union[str, os.PathLike, Iterable[Union[str, os.PathLike]]],
    op: Union[str, Callable] = "refine",
    *,
    out: Optional[Union[str, os.PathLike]] = None,
    scheduler: Optional[str] = None,
    workers: Optional[int] = None,
    client: Any = None,
    progress: bool = True,
    **options: Any,
) -> List[Row]:
    """Runs `op` over every file of `inputs` on Dask; returns one Row per file, in input order.

    inputs: a glob pattern, a path, or a list of them. op: "mesh", "refine",
    "rasterize" or a callable over a height field (see the module text).
    out: output folder (created); default beside each input. scheduler: a
    Dask scheduler address ("tcp://host:8786"); client: an existing
    dask.distributed Client. Neither given: a LocalCluster of `workers`
    processes (default: os.cpu_count()) with one thread each. progress: show
    Dask's progress bar (on stderr). options: passed to the operation.
    """
    if not callable(op) and op not in OPERATIONS:
        raise ValueError(f"op: expected one of {', '.join(OPERATIONS)} or a callable, got {op!r}")
    if op == "refine" and ("tolerance" in options) == ("max_error" in options):
        raise ValueError("refine needs a tolerance or a max_error (not both)")
    if workers is not None and workers < 1:
        raise ValueError("workers: must be at least 1")
    files = expand_inputs(inputs)
    if not files:
        raise ValueError(f"no input files match {inputs!r}")
    out_dir = os.fspath(out) if out is not None else None
    conflicts = _output_conflicts(files, op, out_dir)

    from dask.distributed import Client, LocalCluster
    from dask.distributed import progress as dask_progress

    cluster = None
    own_client = client is None
    if client is None:
        if scheduler:
            client = Client(scheduler)
        else:
            cluster = LocalCluster(
                n_workers=workers or os.cpu_count() or 1,
                threads_per_worker=1,
                processes=True,
                dashboard_address=None,
            )
            client = Client(cluster)
    # Keys name the file (Dask's messages show them) and this run: a key an
    # earlier run on the same client still holds would return that run's row.
    run_id = uuid.uuid4().hex[:12]
    try:
        futures = [
            None
            if i in conflicts
            else client.submit(process_file, path, op, options, out_dir, key=f"relief-{run_id}-{i}-{Path(path).name}")
            for i, path in enumerate(files)
        ]
        if progress:
            with contextlib.redirect_stdout(sys.stderr):  # Dask draws on stdout, which is the results'
                dask_progress([f for f in futures if f is not None])
            print(file=sys.stderr)
        rows = []
        for i, (path, future) in enumerate(zip(files, futures)):
            if future is None:
                rows.append(Row(file=path, status="failed", error=conflicts[i]))
                continue
            try:
                rows.append(future.result())
            except Exception as error:  # the task itself died (a lost worker)
                rows.append(Row(file=path, status="failed", error=f"{type(error).__name__}: {error}"))
        return rows
    finally:
        if own_client:
            client.close()
        if cluster is not None:
            cluster.close()


def summary_table(rows: Sequence[Row], wall_seconds: Optional[float] = None) -> str:
    """The rows as a text table: file, triangles, max error, seconds, status (with the error)."""

    def number(v, fmt):
        return "-" if v is None else format(v, fmt)

    header = ("file", "triangles", "max error", "seconds", "status")
    body = [
        (
            r.file,
            number(r.triangles, "d"),
            number(r.max_error, ".4f"),
            f"{r.seconds:.3f}",
            r.status if r.ok else f"failed: {r.error}",
        )
        for r in rows
    ]
    widths = [max(len(h), *(len(line[i]) for line in body)) if body else len(h) for i, h in enumerate(header)]
    right = (False, True, True, True, False)

    def line(cells):
        return "  ".join(c.rjust(w) if r else c.ljust(w) for c, w, r in zip(cells, widths, right)).rstrip()

    lines = [line(header)] + [line(b) for b in body]
    failed = sum(not r.ok for r in rows)
    total = f"{len(rows)} files, {len(rows) - failed} done, {failed} failed"
    if wall_seconds is not None and wall_seconds > 0:
        total += f", {wall_seconds:.2f} s ({len(rows) / wall_seconds:.2f} files/s)"
    return "\n".join(lines + ["", total])


def _parser() -> argparse.ArgumentParser:
    p = argparse.ArgumentParser(
        prog="python3 -m relief.batch",
        description="Run one relief operation over many files on Dask (one task per file).",
    )
    p.add_argument("patterns", nargs="+", metavar="PATTERN", help="input files or glob patterns (quote them)")
    p.add_argument("--op", choices=OPERATIONS, default="refine", help="operation (default: refine)")
    p.add_argument("--out", metavar="DIR", help="output folder (default: beside each input)")
    p.add_argument("--scheduler", metavar="ADDRESS", help="Dask scheduler address (default: a local cluster)")
    p.add_argument("--workers", type=int, metavar="N", help="local worker processes (default: one per core)")
    p.add_argument("--quiet", action="store_true", help="no progress bar (drawn on stderr when it is a terminal)")
    g = p.add_argument_group("refine")
    g.add_argument("--tolerance", type=float, help="largest height difference a triangle's corners may keep")
    g.add_argument("--min-height", type=float, help="triangles lower than this (pixels) are not split")
    g.add_argument("--passes", type=int, help="most refinement passes")
    g.add_argument("--max-error", type=float, metavar="E", help="error-bounded instead: no valid pixel farther than E")
    g.add_argument("--max-triangles", type=int, metavar="N", help="with --max-error: stop before more triangles")
    g.add_argument("--max-points", type=int, metavar="N", help="with --max-error: stop before more points")
    g = p.add_argument_group("mesh")
    g.add_argument("--threshold", type=float, help="pixels above it are valid (default 0)")
    g.add_argument("--below", action="store_true", help="valid pixels lie below the threshold")
    g.add_argument(
        "--scale", type=float, nargs=3, metavar=("SX", "SY", "SZ"), help="corner scale (also refine --max-error)"
    )
    g.add_argument("--step", type=int, help="mesh every n-th pixel")
    g = p.add_argument_group("rasterize")
    g.add_argument("--resolution", type=float, help="cell size in mesh units")
    g.add_argument("--min", action="store_true", help="keep the lowest surface")
    return p


def _options(args: argparse.Namespace, parser: argparse.ArgumentParser) -> dict:
    if args.op == "refine":
        if (args.tolerance is None) == (args.max_error is None):
            parser.error("--op refine needs --tolerance or --max-error (not both)")
        if args.max_error is not None:
            if args.min_height is not None or args.passes is not None:
                parser.error("--min-height and --passes belong to --tolerance, not --max-error")
            o = {"max_error": args.max_error}
            for key in ("max_triangles", "max_points"):
                if getattr(args, key) is not None:
                    o[key] = getattr(args, key)
            if args.scale is not None:
                o["scale"] = tuple(args.scale)
            return o
        if args.max_triangles is not None or args.max_points is not None:
            parser.error("--max-triangles and --max-points need --max-error")
        o = {"tolerance": args.tolerance}
        if args.min_height is not None:
            o["min_height"] = args.min_height
        if args.passes is not None:
            o["passes"] = args.passes
        return o
    if args.op == "mesh":
        o = {"above": not args.below}
        if args.threshold is not None:
            o["threshold"] = args.threshold
        if args.scale is not None:
            o["scale"] = tuple(args.scale)
        if args.step is not None:
            o["step"] = args.step
        return o
    o = {"mode": "min" if args.min else "max"}
    if args.resolution is not None:
        o["resolution"] = args.resolution
    return o


def main(argv: Optional[Sequence[str]] = None) -> int:
    """Command line: exit 0 when every file is done, 1 when any failed, 2 for bad usage."""
    parser = _parser()
    args = parser.parse_args(argv)
    options = _options(args, parser)
    if args.workers is not None and args.workers < 1:
        parser.error("--workers must be at least 1")
    files = expand_inputs(args.patterns)
    if not files:
        parser.error("no input files match " + " ".join(args.patterns))
    start = time.perf_counter()
    rows = run(
        files,
        args.op,
        out=args.out,
        scheduler=args.scheduler,
        workers=args.workers,
        progress=not args.quiet and sys.stderr.isatty(),
        **options,
    )
    print(summary_table(rows, time.perf_counter() - start))
    return 0 if all(r.ok for r in rows) else 1


if __name__ == "__main__":
    sys.exit(main())
