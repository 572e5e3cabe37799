#!/usr/bin/env bash
# SPDX-License-Identifier: BSD-3-Clause
# Installs what is missing and builds. Then goes from the labels of a real head to stresses: makes a mesh, measures it,
# gives its elements densities from the CT image, solves it under a pressure. And takes meshes of other programs: turns
# one into named surfaces, extracts an isosurface, saves it whole; repairs another, which is then solved too.
set -euo pipefail
cd "$(dirname "$0")"
. tools/setup.sh

install_packages "${build_packages[@]}"
build release --target ketmesh

mesh=data/head_small_tet4.vtu
out=demo-output
ketmesh=build/release/host/ketmesh
mkdir -p "$out"

labels=data/head_labels.nii.gz
ct=data/head_ct.nii.gz
load_case=data/head_case.toml
law=(--law 1,0.001,1,0,0 --modulus 3000,2) # 1 + HU / 1000 g/cm3: water 1, air 0

step "a mesh made of the labels in $labels, and whether anything is wrong with it"
"$ketmesh" mesh "$labels" -o "$out/head_mesh.vtu" --size 10
"$ketmesh" check "$out/head_mesh.vtu" --fail-on 0
"$ketmesh" quality "$out/head_mesh.vtu" --metric MinDihedralAngle

step "ten nodes an element, because linear tetrahedra are too stiff, and moduli from the CT image"
"$ketmesh" convert "$out/head_mesh.vtu" --to tet10 -o "$out/head_tet10.vtu"
"$ketmesh" materials "$out/head_tet10.vtu" --image "$ct" "${law[@]}" --bins 20 --sampling mean -o "$out/head_model.vtu"

step "the case in $load_case: the lowest 5 mm held, pressure on the crown; CalculiX solves it"
"$ketmesh" solve "$out/head_model.vtu" --case "$load_case" -o "$out/head_solved.vtu" --solver iterative

step "the solved head as a page for any browser"
"$ketmesh" view "$out/head_solved.vtu" -o "$out/head_solved.html"

step "what is in $mesh"
"$ketmesh" info "$mesh"

step "its surfaces, outside and between the sub-volumes"
"$ketmesh" surfaces "$mesh" -o "$out/head_surfaces.vtp" --interfaces --names volumes
"$ketmesh" surfaces "$mesh" -o "$out/head_exterior.stl" >/dev/null

step "the quality of its elements"
"$ketmesh" quality "$mesh" --worst 3 -o "$out/head_quality.vtu" --plot "$out/head_quality.svg"

step "where the grey values of the image, as means at the nodes, reach 300 HU"
"$ketmesh" iso "$mesh" --field grey --level 300 -o "$out/head_300hu.stl"

step "densities and moduli from the CT image, per sub-volume"
"$ketmesh" materials "$mesh" --image "$ct" "${law[@]}" --by mask --bins 4 --sampling mean -o "$out/head_ct.vtu"
"$ketmesh" colors "$out/head_ct.vtu" --bins 20 -o "$out/head_grey.json" >/dev/null

step "all of that model in one file, and whether it is the same"
"$ketmesh" save "$out/head_ct.vtu" -o "$out/head_ct.kmesh"
"$ketmesh" diff "$out/head_ct.vtu" "$out/head_ct.kmesh"

curved=data/head_small_tet10.vtu
step "the same case on $curved, where mid-edge nodes fold elements: no solver takes it"
"$ketmesh" materials "$curved" --image "$ct" "${law[@]}" --bins 20 --sampling mean -o "$out/head_curved.vtu" >/dev/null
! "$ketmesh" solve "$out/head_curved.vtu" --case "$load_case" -o "$out/head_repaired.vtu" ||
    fail "a model with folded elements was solved"

step "and after repair"
"$ketmesh" repair "$out/head_curved.vtu" -o "$out/head_repaired.vtu" --fail-on 0
"$ketmesh" solve "$out/head_repaired.vtu" --case "$load_case" -o "$out/head_repaired.vtu" --solver iterative

step "written to $PWD/$out"
while read -r file what; do
    printf '  %-24s %6s  %s\n' "$file" "$(du -h "$out/$file" | cut -f1)" "$what"
done <<END
head_mesh.vtu            the mesh made of labels
head_tet10.vtu           the same with ten nodes an element
head_model.vtu           with the arrays "grey", "density" and "emodulus"
head_model.materials.xml its materials
head_solved.vtu          displacements, stresses and forces; show the array "von_mises"
head_solved.html         the same to look at: a page for any browser
head_surfaces.vtp        skin, bone and their interfaces; colour them by the array "surface"
head_exterior.stl        the outside alone
head_quality.vtu         the mesh with the array "ScaledJacobian"; show the elements below 0.1
head_quality.svg         the histogram, for a browser
head_300hu.stl           the isosurface
head_ct.vtu              the mesh with materials per sub-volume
head_ct.kmesh            the same with everything that belongs to it
head_grey.json           a colour map for the array "grey"
head_repaired.vtu        the curved mesh without a folded element, solved
END
echo
echo "A browser shows $out/head_solved.html; any viewer for VTK files opens the others."
