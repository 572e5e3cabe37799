# SPDX-License-Identifier: BSD-3-Clause
"""Runs of cohorts: what is refused, what each fault becomes, what is run again, and what is told in the end."""

import csv
import json
import os
import re
import shlex
import shutil
import signal
import subprocess
import sys
import time
from html.parser import HTMLParser
from pathlib import Path

import numpy
import pytest
from cohort.command import main
from cohort.figures import figures_of
from cohort.statistics import distribution
from trials import COHORT, EXPECTED, ROOT, TRIVIAL_PIPELINE, Study, external_scheduler, kill_at_random

STEP = '[[step]]\nname = "info"\nrun = "ketmesh info {mesh}"\n'
CASES = "id,mesh\na,x.vtu\n"

# Cases, pipeline, options, and the lines that must be told.
REFUSED = [
    ("mesh\nx.vtu\n", STEP, [], ['cases.csv: there is no column "id"']),
    ("id,mesh,mesh\n", STEP, [], ['the column "mesh" stands 2 times']),
    ("id,mesh\n", STEP, [], ["cases.csv: there are no cases"]),
    ("id,mesh\na,x\nb\na,y\n", STEP, [],
     ["line 3: 1 cells where the first line has 2", 'line 4: the id "a" stands in line 2']),
    ("id,mesh\n../a,x\n.,x\n,x\nsummary.csv,x\n", STEP, [],
     ['line 2: the id "../a" is no safe name', 'line 3: the id "."', 'line 4: the id ""',
      'line 5: the id "summary.csv" is taken']),
    ("id,mesh\na,--help\n", STEP, [], ['line 2: mesh "--help" would be taken for an option']),
    ('id,mesh\na,"x\n', STEP, [], ["cases.csv: line 2: unexpected end of data"]),
    ("id,mesh\na,\udcff\n", STEP, [], ["no UTF-8"]),
    (CASES, "", [], ["pipeline.toml: there is no step"]),
    (CASES, "[[step]\n", [], ["pipeline.toml: no TOML"]),
    (CASES, STEP + STEP, [], ['step 2: the name "info" is taken']),
    (CASES, STEP.replace("name", "nmae"), [], ['step 1: unknown key "nmae"', "step 1: name must be a word"]),
    (CASES, STEP.replace("mesh}", "labels}"), [],
     ['step 1 ("info"): there is no column {labels} in the cases: they have id, mesh']),
    (CASES, STEP.replace("{mesh}", "{mesh"), [], ["step 1 (\"info\"): run: "]),
    (CASES, STEP.replace("{mesh}", "{mesh!r}"), [], ["braces hold the name of a column"]),
    (CASES, STEP.replace("{mesh}", "{mesh} -o ../all.vtu"), [], ["every case would write ../all.vtu"]),
    (CASES, STEP.replace("{mesh}", "{mesh} --output=/all.vtu"), [], ["every case would write /all.vtu"]),
    (CASES, '[[step]]\nname = "info"\nrun = "ketmesh"\n', [], ["run must begin with ketmesh and a command"]),
    (CASES, STEP, ["--only", "a,b"], ['--only: there is no case "b"']),
    (CASES, STEP, ["--timeout", "-1"], ["argument --timeout: invalid number value"]),
    (CASES, STEP, ["--program", "/nothere"], ["/nothere: there is no such program"]),
    (CASES, STEP, ["--program", "/bin/false"], ["/bin/false: it does not say its version"]),
    (CASES, STEP, ["--out", "."], ["holds files that are not of this program"]),
]


@pytest.mark.parametrize("cases, pipeline, options, lines", REFUSED)
def test_faults_are_told_one_line_each(tmp_path, monkeypatch, capsys, cases, pipeline, options, lines):
    monkeypatch.chdir(tmp_path)
    Path("cases.csv").write_bytes(cases.encode(errors="surrogateescape"))
    Path("pipeline.toml").write_text(pipeline)
    assert main(["cases.csv", "pipeline.toml", "--out", "runs", *options]) == 1
    told = capsys.readouterr().err.splitlines()
    assert len(told) == len(lines), told
    for line, piece in zip(sorted(told), sorted(lines, key=lambda piece: [p for p in told if piece in p])):
        assert line.startswith("ketmesh.cohort: ") and piece in line


@pytest.fixture(scope="module")
def faulty(tmp_path_factory):
    """One case for each fault, some good ones, and one far from them, run by two workers."""
    study = Study(tmp_path_factory.mktemp("faulty"), [*EXPECTED, *["none"] * 9])
    text = study.cases.read_text().replace("none,18", "none,1e6")
    study.cases.write_text(text)
    study.ended = study.run("runs", "--workers", "2", "--timeout", "8", "--memory", "0.2")
    return study


def test_each_fault_becomes_its_status(faulty):
    assert faulty.ended.returncode == 2, faulty.ended.stderr
    assert faulty.statuses("runs") == faulty.expected
    assert faulty.no_process_stays()
    kinds = dict(zip(EXPECTED, (faulty.record("runs", case) for case in sorted(faulty.expected))))
    errors = {"hang": "not done after 8 s", "eat": "took more than 0.2 GB of memory", "die": "ended by SIGSEGV",
              "check": "too bad", "mute": "printed no JSON object", "flood": "printed more than 64 MB",
              "missing": "nothere.vtu: there is no such file"}
    for kind, record in kinds.items():
        assert record["error"] == errors.get(kind, record["error"])
        assert bool(record["error"]) == (record["status"] != "done")
        assert list(record["steps"])[:1] == ["info"]
    assert 8 <= kinds["hang"]["runs"]["fault"]["seconds"] < 900  # it would take longer if nobody ended it
    assert kinds["eat"]["peak_memory"] > 0.2e9
    assert kinds["slow"]["warnings"][-1] == "fault: slow"
    assert kinds["none"]["steps"]["info"]["elements"] == 14
    folder = faulty.folder / "runs" / "case-000000"
    assert sorted(p.name for p in folder.iterdir()) == [".lock", "case.json", "cut.vtu", "steps"]


def test_summary_does_not_depend_on_workers(faulty):
    faulty.run("runs1", "--workers", "1", "--timeout", "8", "--memory", "0.2")
    assert faulty.stable_summary("runs1") == faulty.stable_summary("runs")
    with open(faulty.folder / "runs" / "summary.csv", newline="") as file:
        rows = list(csv.DictReader(file))
    assert len(rows) == len(faulty.expected) and [row["id"] for row in rows] == sorted(faulty.expected)
    assert rows[0]["info.elements"] == "14" and rows[0]["fault.even"] == "true"
    assert rows[2]["status"] == "timeout" and rows[2]["fault.value"] == ""


class _Links(HTMLParser):
    def __init__(self, page):
        super().__init__()
        self.links, self.tags, self.text = [], set(), []
        self.feed(page)

    def handle_starttag(self, tag, attributes):
        self.tags.add(tag)
        self.links += [value for name, value in attributes if name in ("href", "src")]

    def handle_data(self, data):
        self.text.append(data)


def test_page_shows_outliers_first_and_asks_nothing_of_a_network(faulty):
    page = (faulty.folder / "runs" / "summary.html").read_text()
    parsed = _Links(page)
    assert not parsed.tags & {"script", "link", "img", "iframe"} and "svg" in parsed.tags
    assert all((faulty.folder / "runs" / link).is_file() for link in parsed.links)
    assert parsed.links[0] == "case-000018/case.json"  # whose value is far from all others
    assert parsed.text.index("Outliers") < parsed.text.index("Not done") < parsed.text.index("Cases")


def test_page_escapes_what_cases_bring(tmp_path):
    study = Study(tmp_path, ["none"], TRIVIAL_PIPELINE)
    study.program.write_text('#!/bin/sh\n[ "$1" = --version ] && echo 1 || {\n'
                             'touch "<page> #1.html"; echo \'{"a<b>": 1, "error": "<script>&"}\'; exit 1; }\n')
    assert study.run("runs", "--workers", "0").returncode == 2
    page = (tmp_path / "runs" / "summary.html").read_text()
    assert "&lt;script&gt;&amp;" in page and "case-000000/%3Cpage%3E%20%231.html" in page
    assert not _Links(page).tags & {"script", "page", "b"}


def test_only_what_is_not_done_under_the_same_key_runs_again(tmp_path):
    study = Study(tmp_path, ["none", "none", "check"])
    ran = []

    def run(*options, **environment):
        before = study.started()
        study.run("runs", "--workers", "0", *options, **environment)
        ran[:] = sorted({case[-1] for case, _ in study.started() - before})
        return ran

    assert run() == ["0", "1", "2"]
    assert run() == ["2"]
    assert run("--only", "case-000001") == []
    os.utime(study.folder / "mesh.vtu")  # the same contents: read again, not run again
    assert run() == ["2"] and run("--only", "failed") == ["2"]
    record = study.record("runs", "case-000000")
    assert record["key"] and record["inputs"][0]["path"] == str(study.folder / "mesh.vtu")

    assert run(TRIAL_VERSION="2") == ["0", "1", "2"]
    with open(study.folder / "mesh.vtu", "ab") as file:
        file.write(b"\n")
    assert run("--only", "case-000001", TRIAL_VERSION="2") == ["1"]
    assert set(study.statuses("runs").values()) == {"done", "outdated"}  # never figures of other inputs
    assert run(TRIAL_VERSION="2") == ["0", "2"]
    study.pipeline.write_text(study.pipeline.read_text().replace("cut.vtu", "again.vtu"))
    assert run(TRIAL_VERSION="2") == ["0", "1", "2"]
    (tmp_path / "runs" / "case-000000" / "case.json").write_text('{"status": "done"')  # not whole
    assert run(TRIAL_VERSION="2") == ["0", "2"]
    ended = study.run("runs", "--summary-only", TRIAL_VERSION="2")
    assert ended.returncode == 2 and ended.stdout.startswith("2 done, 1 failed; summary in ")


def test_exit_status_is_of_the_cases_that_were_asked_for(tmp_path):
    study = Study(tmp_path, ["none", "check"])
    assert study.run("runs", "--workers", "0", "--only", "case-000000").returncode == 0
    assert study.statuses("runs") == {"case-000000": "done", "case-000001": "not run"}
    assert study.run("runs", "--workers", "0").returncode == 2


def test_scheduler_that_does_not_answer_is_told_at_once(tmp_path):
    study = Study(tmp_path, ["none"])
    process = study.start("runs", "--scheduler", "nonsense://x")
    _, err = process.communicate(timeout=300)
    assert process.returncode == 1 and err.startswith("ketmesh.cohort: no scheduler answers at nonsense://x")


def test_inputs_are_never_emptied_away(tmp_path):
    study = Study(tmp_path, ["none"])
    assert study.run("runs", "--workers", "0").returncode == 0
    study.cases.write_text(study.cases.read_text().replace("mesh.vtu", "runs/case-000000/cut.vtu"))
    ended = study.run("runs", "--workers", "0")
    assert ended.returncode == 1 and "reads it from" in ended.stderr
    assert (tmp_path / "runs" / "case-000000" / "cut.vtu").exists()


@pytest.fixture(scope="module")
def example(tmp_path_factory):
    """examples/cohort beside data/, and the environment in which `python3 -m ketmesh.cohort` works."""
    tree = tmp_path_factory.mktemp("tree")
    (tree / "data").symlink_to(ROOT / "data")
    shutil.copytree(ROOT / "examples" / "cohort", tree / "examples" / "cohort")
    built = any(list(Path(folder).glob("ketmesh/_core*.so")) for folder in sys.path)
    module = "-m ketmesh.cohort" if built else shlex.quote(str(COHORT))
    return tree / "examples" / "cohort", f"{sys.executable} {module}"


def test_guide_runs_on_the_real_data(example):
    folder, cohort = example
    blocks = dict(re.findall(r"```(csv|toml|sh)\n(.*?)```", (ROOT / "docs" / "cohorts.md").read_text(), re.S))
    assert blocks["csv"] == (folder / "cases.csv").read_text()
    assert blocks["toml"] == (folder / "pipeline.toml").read_text()
    command = blocks["sh"].replace("python3 -m ketmesh.cohort", cohort)
    ended = subprocess.run(command, shell=True, cwd=folder, capture_output=True, text=True)
    assert ended.returncode == 0, ended.stderr
    for case in ("head-10", "head-12", "head-14"):
        record = json.loads((folder / "runs" / case / "case.json").read_text())
        steps = record["steps"]
        assert steps["mesh"]["elements"] == steps["quality"]["elements"] == steps["materials"]["elements"] > 1000
        assert 1e-5 < steps["solve"]["max_displacement"] < 1e-2 and abs(steps["solve"]["balance"]) < 1e-4
        inputs = {Path(entry["path"]).name for entry in record["inputs"]}
        assert inputs == {"head_labels.nii.gz", "head_ct.nii.gz", "load.toml"}
        assert f"mesh: {steps['mesh']['warnings'][0]}" in record["warnings"]


@pytest.mark.skipif(not shutil.which("snakemake"), reason="snakemake is not installed")
def test_snakefile_runs_the_same_steps(example):
    folder, cohort = example
    for cores in ("2", "1"):  # the second time there is nothing to do
        ended = subprocess.run(["snakemake", "--cores", cores, "--config", f"cohort={cohort}"], cwd=folder,
                               capture_output=True, text=True)
        assert ended.returncode == 0, ended.stderr
    assert sorted(p.name for p in (folder / "marks").iterdir()) == ["head-10", "head-12", "head-14"]


def test_slurm_array_runs_the_same_steps(example):
    """The script itself; sbatch was tried by hand."""
    folder, cohort = example
    for job in range(4):
        ended = subprocess.run(["./slurm_array.sh"], cwd=folder, capture_output=True, text=True, env={
            **os.environ, "COHORT": cohort, "SLURM_ARRAY_TASK_ID": str(job), "SLURM_ARRAY_TASK_COUNT": "4",
            "SLURM_CPUS_PER_TASK": "1"})
        assert ended.returncode == 0, ended.stderr
        assert ended.stderr == ("" if job == 3 else "1 of 1 done (1 earlier)\n")  # the guide has run them


@pytest.mark.parametrize("number, workers", [(signal.SIGINT, "2"), (signal.SIGTERM, "0")])
def test_cancelling_ends_the_steps_and_loses_nothing(tmp_path, number, workers):
    study = Study(tmp_path, ["hang", "hang", "none"], TRIVIAL_PIPELINE)
    process = study.start("runs", "--workers", workers)
    deadline = time.monotonic() + 300
    while time.monotonic() < deadline and not (study.finished("runs") and len(study.processes()) > 1):
        time.sleep(0.05)
    before = study.finished("runs")
    os.killpg(process.pid, number)  # as a terminal does
    _, err = process.communicate(timeout=300)
    assert process.returncode == 130
    assert "Traceback" not in err and err.splitlines()[-1].startswith("ketmesh.cohort: cancelled; the same"), err
    assert study.no_process_stays()
    assert study.finished("runs") == before and list(before) == ["case-000002"]


def test_killed_workers_and_drivers_lose_no_finished_case(tmp_path):
    study = Study(tmp_path, ["slow"] * 24 + ["die"], TRIVIAL_PIPELINE)
    done = kill_at_random(study, "runs", ["--workers", "2", "--retries", "1"], kills=3, seconds=(0.1, 1.2))
    assert done["drivers"] + done["workers"] > 0
    assert study.statuses("runs") == study.expected
    assert [study.record("runs", f"case-0000{i}")["attempts"] for i in (23, 24)] == [1, 2]  # crashes are tried again


def test_external_scheduler(tmp_path):
    study = Study(tmp_path, ["none"] * 6 + ["slow"] * 10 + ["die", "hang"], TRIVIAL_PIPELINE)
    with external_scheduler(tmp_path, 2) as (address, scheduler, workers):
        process = study.start("runs", "--scheduler", address, "--timeout", "5")
        while len(study.finished("runs")) < 6 and process.poll() is None:
            time.sleep(0.05)
        workers[0].kill()
        out, err = process.communicate(timeout=300)
        assert process.returncode == 2, err
        assert study.statuses("runs") == study.expected
        assert study.run("runs", "--scheduler", address, "--only", "case-000001").returncode == 0

        process = study.start("runs2", "--scheduler", address, "--timeout", "5")
        while not study.finished("runs2") and process.poll() is None:
            time.sleep(0.05)
        scheduler.kill()
        out, err = process.communicate(timeout=300)
        assert process.returncode == 1 and "Traceback" not in err
        assert err.splitlines()[-1].startswith("ketmesh.cohort: the scheduler went away; the same command goes on")
    for step in study.processes():
        os.kill(step, signal.SIGKILL)


def test_figures_go_by_names():
    steps = {"mesh": {"parts": 2, "ok": True, "kind": "tet4", "nothing": None,
                      "box": [0.0, 1.5], "counts": list(range(10)),
                      "regions": [{"name": "bone", "volume": 3}, {"name": "skin", "volume": 4}],
                      "labels": [{"label": 7, "d": {"max": 1}}], "worst": [{"value": 1}, {"value": 1}]}}
    assert figures_of(steps) == {
        "mesh.parts": 2, "mesh.ok": True, "mesh.box.0": 0.0, "mesh.box.1": 1.5, "mesh.regions.bone.volume": 3,
        "mesh.regions.skin.volume": 4, "mesh.labels.7.d.max": 1}


def test_robust_scores():
    values = numpy.array([1, 2, 3, 4, 5, 6, 7, 8, 100, numpy.nan])
    found = distribution("x", values)  # median 5, deviations 4 3 2 1 0 1 2 3 95 of median 2
    assert found.score(values)[8] == pytest.approx(95 * 0.6745 / 2)
    assert (found.count, found.below, found.above, sum(found.bins)) == (9, 0, 1, 8)
    most_equal = numpy.array([1.0] * 9 + [2])
    assert distribution("x", most_equal).score(most_equal)[9] == pytest.approx(1 / (0.1 * numpy.sqrt(numpy.pi / 2)))
    assert numpy.isnan(distribution("x", values[:5]).score(values[:5])).all()  # too few to tell
