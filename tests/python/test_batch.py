"""relief.batch on a LocalCluster of 2 worker processes: 20 generated scans and one corrupt file."""

import sys

import numpy as np
import pytest
from conftest import scan

import relief
from relief import batch

distributed = pytest.importorskip("distributed")


@pytest.fixture(scope="module")
def client():
    cluster = distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None)
    c = distributed.Client(cluster)
    yield c
    c.close()
    cluster.close()


@pytest.fixture(scope="module")
def scans(tmp_path_factory):
    folder = tmp_path_factory.mktemp("scans")
    rng = np.random.default_rng(20)
    for i in range(20):
        ext = ".tif" if i % 5 == 0 else ".npy"
        relief.save_height_field(folder / f"scan-{i:02d}{ext}", scan(40 + i, 48, rng))
    (folder / "scan-99.npy").write_bytes(b"\x93NUMPY\x01\x00 this is not a header")
    return folder


def test_refine_batch_with_a_corrupt_file(client, scans, tmp_path):
    out = tmp_path / "out"
    rows = batch.run(str(scans / "scan-*"), "refine", tolerance=0.5, out=out, client=client, progress=False)
    assert len(rows) == 21
    assert [r.file for r in rows] == sorted(str(p) for p in scans.glob("scan-*"))
    bad = [r for r in rows if not r.ok]
    assert [r.file for r in bad] == [str(scans / "scan-99.npy")]
    assert "scan-99.npy" in bad[0].error and bad[0].output is None
    for r in rows:
        if r.ok:
            mesh = relief.load_mesh(r.output)
            assert len(mesh) == r.triangles > 0
            assert r.output.startswith(str(out)) and r.max_error is not None and r.seconds > 0
    table = batch.summary_table(rows)
    assert "max error" in table and "failed: ValueError" in table and "21 files, 20 done, 1 failed" in table


def test_other_operations_and_a_callable(client, scans, tmp_path):
    files = sorted(str(p) for p in scans.glob("scan-0[0-3].*"))
    meshes = batch.run(files, "mesh", out=tmp_path, client=client, progress=False, scale=(0.5, 0.5, 1.0))
    assert all(r.ok and r.output.endswith("-mesh.ply") for r in meshes)
    back = batch.run([r.output for r in meshes], "rasterize", out=tmp_path, client=client, progress=False, resolution=0.5)
    assert all(r.ok and r.output.endswith("-raster.npy") for r in back)
    for reduce in (np.max, np.min, np.max, np.min):  # each run its own result on one client
        peaks = batch.run(files, reduce, client=client, progress=False)
        assert [float(r.value) for r in peaks] == [float(reduce(relief.load_height_field(f))) for f in files]
    missing = batch.run([str(tmp_path / "nowhere.npy")], "mesh", client=client, progress=False)
    assert missing[0].status == "failed" and "FileNotFoundError" in missing[0].error
    twin = tmp_path / "scan-00.npy"  # the stem of scan-00.tif: both would write scan-00-mesh.ply
    relief.save_height_field(twin, relief.load_height_field(files[0]))
    clash = batch.run([files[0], str(twin)], "mesh", out=tmp_path / "clash", client=client, progress=False)
    assert clash[0].ok and "also the output of " + files[0] in clash[1].error
    assert batch.run(files[:1], lambda f: sys.exit(3), client=client, progress=False)[0].error == "SystemExit: 3"


def test_command_line(client, scans, tmp_path, capsys):
    code = batch.main(
        [str(scans / "scan-1*.npy"), "--op", "refine", "--tolerance", "0.5", "--out", str(tmp_path),
         "--scheduler", client.scheduler.address, "--quiet"]
    )
    printed = capsys.readouterr().out
    assert code == 0 and "8 files, 8 done, 0 failed" in printed
    assert len(list(tmp_path.glob("*-refined.ply"))) == 8
    batch.run(str(scans / "scan-10.npy"), "mesh", out=tmp_path, client=client)  # its progress bar on stderr
    assert capsys.readouterr().out == ""
    assert batch.main([str(scans / "scan-99.npy"), "--op", "mesh", "--scheduler", client.scheduler.address,
                       "--quiet"]) == 1
    with pytest.raises(SystemExit) as usage:
        batch.main([str(scans / "scan-*"), "--op", "refine"])
    assert usage.value.code == 2


def test_error_bounded_refine_in_a_batch(client, scans, tmp_path):
    files = sorted(str(p) for p in scans.glob("scan-0[4-7].npy"))
    rows = batch.run(files, "refine", max_error=0.25, out=tmp_path, client=client, progress=False)
    assert all(r.ok and r.output.endswith("-refined.ply") for r in rows)
    assert all(r.max_error <= 0.25 for r in rows)
    code = batch.main(files[:2] + ["--op", "refine", "--max-error", "0.25", "--max-triangles", "50", "--out",
                                   str(tmp_path / "cli"), "--scheduler", client.scheduler.address, "--quiet"])
    assert code == 0
    assert all(len(relief.load_mesh(p)) <= 50 for p in (tmp_path / "cli").glob("*-refined.ply"))
    for wrong in (["--tolerance", "0.5", "--max-error", "0.1"], ["--max-error", "0.1", "--passes", "3"],
                  ["--tolerance", "0.5", "--max-points", "9"]):
        with pytest.raises(SystemExit) as usage:
            batch.main(files[:1] + ["--op", "refine"] + wrong)
        assert usage.value.code == 2
    with pytest.raises(ValueError, match="not both"):
        batch.run(files, "refine", tolerance=0.5, max_error=0.1, client=client, progress=False)


def test_inputs_named_with_pattern_characters_and_matched_folders(tmp_path):
    literal, nested = tmp_path / "scan [1].npy", tmp_path / "sub" / "a.npy"
    nested.parent.mkdir()
    literal.touch(), nested.touch()
    assert batch.expand_inputs([literal, str(tmp_path / "**" / "*")]) == [str(literal), str(literal), str(nested)]
