#!/usr/bin/env bash
# Installs what is missing, builds, makes a mesh of the labels of a real head, turns the sample head mesh, made from a
# CT image, into named surfaces, measures its elements, repairs its curved sibling, extracts an isosurface, makes a
# quadratic mesh, gives its elements densities from the CT image, and solves the repaired one under a pressure.
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
step "a mesh made of the labels in $labels, and whether anything is wrong with it"
"$ketmesh" mesh "$labels" -o "$out/head_mesh.vtu" --size 6
"$ketmesh" check "$out/head_mesh.vtu" --fail-on 0
"$ketmesh" quality "$out/head_mesh.vtu" --metric MinDihedralAngle

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

step "where the grey values of the image, as means at the nodes, reach 300 HU"
"$ketmesh" iso "$mesh" --field grey --level 300 -o "$out/head_300hu.stl"

step "a quadratic mesh of the same shape"
"$ketmesh" convert "$mesh" --to tet10 -o "$out/head_tet10.vtu"

step "densities and moduli from the CT image, per sub-volume (1 + HU / 1000: water 1, air 0)"
"$ketmesh" materials "$mesh" --image data/head_ct.nii.gz --law 1,0.001,1,0,0 --modulus 3000,2 \
    --by mask --bins 4 --sampling mean -o "$out/head_model.vtu"
"$ketmesh" colors "$out/head_model.vtu" --bins 20 -o "$out/head_grey.json" >/dev/null

step "all of that model in one file, and whether it is the same"
"$ketmesh" save "$out/head_model.vtu" -o "$out/head_model.kmesh"
"$ketmesh" diff "$out/head_model.vtu" "$out/head_model.kmesh"

step "a case: the skull base held, pressure on the crown; the solver refuses the curved head for its folded elements"
cat >"$out/head_case.toml" <<END
[place.base]
axis = "z-"
within = 5
[place.crown]
axis = "z+"
within = 20
normal = [0, 0, 1]
angle = 60
[[fix]]
place = "base"
axes = "xyz"
[[pressure]]
place = "crown"
value = 0.01
END
"$ketmesh" materials "$curved" --image data/head_ct.nii.gz --law 1,0.001,1,0,0 --modulus 3000,2 \
    --bins 20 --sampling mean -o "$out/head_curved.vtu" >/dev/null
! "$ketmesh" solve "$out/head_curved.vtu" --case "$out/head_case.toml" -o "$out/head_solved.vtu" ||
    fail "a model with folded elements was solved"

step "the same case after repair"
"$ketmesh" repair "$out/head_curved.vtu" -o "$out/head_curved.vtu" --fail-on 0 >/dev/null
"$ketmesh" solve "$out/head_curved.vtu" --case "$out/head_case.toml" -o "$out/head_solved.vtu" --solver iterative

step "written to $PWD/$out"
while read -r file what; do
    printf '  %-24s %6s  %s\n' "$file" "$(du -h "$out/$file" | cut -f1)" "$what"
done <<END
head_surfaces.vtp        skin, bone and their interfaces; colour them by the array "surface"
head_exterior.stl        the outside alone
head_quality.vtu         the mesh with the array "ScaledJacobian"; show the elements below 0.1
head_quality.svg         the histogram, for a browser
head_repaired.vtu        the curved mesh without a folded element
head_300hu.stl           the isosurface
head_tet10.vtu           the mesh with ten nodes an element
head_model.vtu           the mesh with the arrays "grey", "density" and "emodulus"
head_model.materials.xml its materials
head_model.kmesh         the mesh with everything that belongs to it
head_curved.vtu          the repaired mesh with densities and moduli
head_case.toml           what holds and loads the head
head_solved.vtu          displacements, stresses and forces; show the array "von_mises"
head_grey.json           a colour map for the array "grey"
END
echo
echo "Any viewer for VTK files opens them."
