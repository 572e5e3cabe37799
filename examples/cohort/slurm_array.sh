#!/bin/bash
# SPDX-License-Identifier: BSD-3-Clause
# The same cases and steps as an array of Slurm jobs: job k of n runs every n-th case.
#
#   job=$(sbatch --parsable slurm_array.sh)
#   sbatch --dependency=afterany:$job --wrap "python3 -m ketmesh.cohort cases.csv pipeline.toml --out runs --summary-only"
#
#SBATCH --array=0-9
#SBATCH --cpus-per-task=2
#SBATCH --mem=8G
#SBATCH --time=4:00:00
set -eu
cohort=${COHORT:-python3 -m ketmesh.cohort}

cases=$(python3 - "$SLURM_ARRAY_TASK_ID" "$SLURM_ARRAY_TASK_COUNT" <<'END'
import csv, sys
job, jobs = map(int, sys.argv[1:])
with open("cases.csv", newline="", encoding="utf-8-sig") as file:
    print(",".join(row["id"] for i, row in enumerate(csv.DictReader(file)) if i % jobs == job))
END
)
[ -n "$cases" ] || exit 0
exec $cohort cases.csv pipeline.toml --out runs --workers "${SLURM_CPUS_PER_TASK:-1}" --only "$cases" \
    --timeout 600 --memory 4 --no-summary
