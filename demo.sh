#!/usr/bin/env bash
# Installs what is missing, builds, and turns the sample head mesh, made from a CT image, into named
# surfaces.
set -euo pipefail
cd "$(dirname "$0")"
. tools/setup.sh

install_packages "${build_packages[@]}"
build release --target ketmesh

mesh=data/head_small_tet4.vtu
out=demo-output
ketmesh=build/release/host/ketmesh
mkdir -p "$out"

step "what is in $mesh"
"$ketmesh" info "$mesh"

step "its surfaces, outside and between the sub-volumes"
"$ketmesh" surfaces "$mesh" -o "$out/head_surfaces.vtp" --interfaces --names volumes
"$ketmesh" surfaces "$mesh" -o "$out/head_exterior.stl" >/dev/null

step "written"
for file in "$out"/*; do
    printf '  %s (%s)\n' "$PWD/$file" "$(du -h "$file" | cut -f1)"
done
echo
echo "Open them in any viewer for VTK or STL files, and colour head_surfaces.vtp by the array \"surface\"."
