// SPDX-License-Identifier: BSD-3-Clause
// Adds a field of its own to a mesh, one value for each element: field_per_element MESH OUTPUT
//
// 1. Read the mesh.
// 2. Register a mask: it has a value for every element, also for those that are added later.
// 3. Fill it, here with the volume of each element.
// 4. Use it: the sum over a sub-volume is the volume of that sub-volume.
// 5. Write it: files hold arrays, so its values go into one, in the order of the mesh.
#include <KetSDK/Mesh/materials/MDataMask.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/Mesh/mesh/MMeshElementVolume.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <cmath>
#include <iostream>
#include <utility>
#include <vector>

int main(int argc, char** argv) try {
    // 1.
    if (argc != 3) {
        std::cerr << "usage: field_per_element MESH OUTPUT\n";
        return 1;
    }
    auto model = KetSDK::MeshJobs::ReadModel(argv[1], {}, {});
    MMeshBase& mesh = *model.mesh;

    // 2. The mask is ours. It takes itself out of the mesh at its end.
    MDataMask<MMeshElement, double> volumes(0.0);
    mesh.GetElementMasks()->RegisterMask(&volumes, "volume");

    // 3.
    for (MMeshElement const& element : mesh.Elements())
        volumes.SetValue(element, GetElementVolume(element));

    // 4.
    bool all_agree = true;
    for (auto sub_volume = mesh.BeginSubVolume(); sub_volume != mesh.EndSubVolume(); ++sub_volume) {
        double sum = 0.0;
        for (MMeshElement const& element : **sub_volume)
            sum += volumes.GetValue(element);
        std::wcout << (*sub_volume)->GetName() << L": " << sum << L" mm3\n";
        all_agree = all_agree && std::abs(sum - (*sub_volume)->GetVolume()) <= 1e-9 * std::abs(sum);
    }

    // 5.
    std::vector<double> values;
    for (MMeshElement const& element : mesh.Elements())
        values.push_back(volumes.GetValue(element));
    KetSDK::MeshJobs::SetArray(model.arrays, {.name = L"volume",
                                              .place = MMeshArray::OnElements,
                                              .type = L"float64",
                                              .values = std::move(values)});
    KetSDK::MeshJobs::WriteModel(model, argv[2], {}, {});
    return all_agree ? 0 : 1;
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "field_per_element: " << error.what() << "\n";
    return 1;
}
