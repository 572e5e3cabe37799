#!/usr/bin/env bash
# Installs what is missing, builds, turns the sample head mesh, made from a CT image, into named surfaces,
# measures its elements, and repairs its curved sibling.
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

step "the quality of its elements"
"$ketmesh" quality "$mesh" --worst 3 -o "$out/head_quality.vtu" --plot "$out/head_quality.svg"

curved=data/head_small_tet10.vtu
step "repair of $curved, where mid-edge nodes fold elements"
"$ketmesh" repair "$curved" -o "$out/head_repaired.vtu" --fail-on 0

step "written to $PWD/$out"
while read -r file what; do
    printf '  %-20s %6s  %s\n' "$file" "$(du -h "$out/$file" | cut -f1)" "$what"
done <<END
head_surfaces.vtp    skin, bone and their interfaces; colour them by the array "surface"
head_exterior.stl    the outside alone
head_quality.vtu     the mesh with the array "ScaledJacobian"; show the elements below 0.1
head_quality.svg     the histogram, for a browser
head_repaired.vtu    the curved mesh without a folded element
END
echo
echo "Any viewer for VTK files opens them."
