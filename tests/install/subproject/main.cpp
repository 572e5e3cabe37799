// SPDX-License-Identifier: BSD-3-Clause
// A program that compiles without warnings by its own measure only: those of the tree would refuse it.
#include <KetSDK/Mesh/mesh/MMeshBase.h>

int main(int count, char**) {
    MMeshBase mesh;
    short shortened = count; // -Wconversion
    {
        int count = mesh.NumberOfElements(); // -Wshadow
        shortened = static_cast<short>(shortened + count);
    }
    return shortened;
}
