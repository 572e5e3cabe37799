// The boundary of the real head on a larger copy of its own surface, and what is refused.
#include "KetmeshProgram.h"

#include <vtkPolyData.h>
#include <vtkXMLPolyDataReader.h>
#include <vtkXMLPolyDataWriter.h>

TEST_F(Ketmesh, ProjectPutsTheHeadOnASurface) {
    std::string const own = Path("own.vtp"), larger = Path("larger.vtp"), out = Path("out/projected.vtu");
    RunJson({"surfaces", Head, "-o", own});
    Json const same = RunJson({"project", Head, "--surface", own, "--distance", "1", "-o", out});
    EXPECT_EQ(same["on_surface"], same["nodes"]);
    EXPECT_EQ(same["volume_after"], same["volume_before"]);
    EXPECT_TRUE(RunJson({"diff", Head, out})["equal"]) << "with all arrays";

    auto const surface = ReadFile<vtkXMLPolyDataReader>(own);
    for (vtkIdType i = 0; i < surface->GetNumberOfPoints(); ++i) {
        double p[3];
        surface->GetPoint(i, p);
        surface->GetPoints()->SetPoint(i, 1.005 * p[0], 1.005 * p[1], 1.005 * p[2]);
    }
    vtkNew<vtkXMLPolyDataWriter> writer;
    writer->SetFileName(larger.c_str());
    writer->SetInputData(surface);
    writer->Write();
    // Without a smallest quality some elements are left nearly flat.
    Json const flat =
        RunJson({"project", Head, "--surface", larger, "--distance", "3", "--min-quality", "0", "-o", out});
    EXPECT_EQ(flat["limited"], 0);
    EXPECT_LT(flat["quality_after"], 0.01);
    Json const grown = RunJson({"project", Head, "--surface", larger, "--distance", "3", "-o", out});
    EXPECT_EQ(grown["quality_before"], flat["quality_before"]);
    double const least = std::min(0.05, grown["quality_before"].get<double>());
    EXPECT_GE(grown["quality_after"], least);
    EXPECT_GT(grown["limited"], 0);
    EXPECT_NEAR(RunJson({"quality", out})["metrics"]["ScaledJacobian"]["min"], grown["quality_after"], 1e-12);
    EXPECT_GT(grown["moved"], 3000);
    EXPECT_EQ(grown["moved"].get<int>() + grown["shortened"].get<int>() + grown["left"].get<int>(),
              grown["nodes"].get<int>());
    EXPECT_LT(grown["distance_after"]["mean"], 0.1 * grown["distance_before"]["mean"].get<double>());
    double const volume = grown["volume_after"].get<double>();
    EXPECT_NEAR(volume / grown["volume_before"].get<double>(), 1.005 * 1.005 * 1.005, 0.003);
    EXPECT_NEAR(RunJson({"info", out})["volume"].get<double>(), volume, 1e-9 * volume);
    EXPECT_EQ(RunJson({"check", out})["wrong_orientation"], 0);
    EXPECT_EQ(CellValues(*ReadFile<vtkXMLUnstructuredGridReader>(out), "label"),
              CellValues(*ReadGrid("head_small_tet4.vtu"), "label"));
}
