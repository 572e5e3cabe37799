// SPDX-License-Identifier: BSD-3-Clause
// Models that are solved: against closed solutions, against what loads them, and those that no solver takes.
#include "SolverModels.h"

#include "TestFiles.h"

#include <KetSDK/MeshJobs/Image.h>
#include <KetSDK/MeshJobs/Materials.h>
#include <KetSDK/MeshJobs/Results.h>
#include <KetSDK/MeshSolver/Analysis.h>

#include <csignal>

namespace {

using namespace SolverModels;
using KetSDK::MeshSolver::MaterialsAs;

char const* const Kinds[] = {"tet4", "tet10", "hex8", "wedge6"};
constexpr unsigned int NodesOfKind[] = {4, 10, 8, 6};

// Three planes hold a block and leave it free to become thinner.
std::string const Supports = "[place.left]\naxis = 'x-'\nwithin = 0\n[place.front]\naxis = 'y-'\nwithin = 0\n"
                             "[place.base]\naxis = 'z-'\nwithin = 0\n[place.top]\naxis = 'z+'\nwithin = 0\n"
                             "normal = [0, 0, 1]\nangle = 1\n"
                             "[[fix]]\nplace = 'left'\naxes = 'x'\n[[fix]]\nplace = 'front'\naxes = 'y'\n"
                             "[[fix]]\nplace = 'base'\naxes = 'z'\n";

TEST(Solve, GivesTheStressOfUniformTensionForEveryKindOfElement) {
    constexpr double stress = 5.0;
    // The same tension as a pressure, as a force, and as a displacement.
    std::string const loads[] = {"[[pressure]]\nplace = 'top'\nvalue = -5\n",
                                 "[[force]]\nplace = 'top'\ntotal = [0, 0, 30]\n",
                                 "[[displace]]\nplace = 'top'\nby = { z = 0.02 }\n"};
    for (std::size_t kind = 0; kind < 4; ++kind)
        for (std::string const& load : loads) {
            SCOPED_TRACE(Kinds[kind] + (" " + load));
            Model model = MakeBlocks(NodesOfKind[kind], 2, 2, 2, Box(2, 3, 4));
            SolveResult const result = Solve(model, SolveWith(Supports + load), {});
            std::vector<double> const& stresses = NodeArray(model, L"stress");
            for (std::size_t i = 0; i < stresses.size(); ++i)
                EXPECT_NEAR(stresses[i], i % 6 == 2 ? stress : 0.0, 5e-4) << i; // of hexahedra 2e-4 off
            EXPECT_NEAR(result.max_von_mises, stress, 5e-4);
            double const lateral = Poisson * stress / Modulus;
            EXPECT_NEAR(result.max_displacement, std::hypot(2 * lateral, 3 * lateral, 4 * stress / Modulus),
                        1e-6);
            for (SolveResult::Reaction const& reaction : result.reactions)
                EXPECT_NEAR(reaction.force[2],
                            reaction.place == "base"  ? -30.0
                            : reaction.place == "top" ? 30.0
                                                      : 0.0,
                            1e-3)
                    << reaction.place;
            EXPECT_EQ(result.balance.has_value(), load.find("displace") == std::string::npos);
            EXPECT_EQ(result.unknowns, 3 * std::uint64_t(model.mesh->NumberOfPoints()) - 27 -
                                           (kind == 1 ? 48 : 0) -
                                           (result.balance ? 0
                                            : kind == 1    ? 25
                                                           : 9));
        }
}

TEST(Solve, KnowsTheLoadsThatTheSolverMakesAtNodes) {
    // Bent blocks, so that nothing cancels out; the solver's forces at free nodes are its loads.
    Shape const bent = [](double u, double v, double w) {
        return std::array<double, 3>{u + 0.2 * v * w + 0.1 * w * w, v + 0.15 * u * w,
                                     w + 0.1 * u * v - 0.1 * v * v};
    };
    CaseFile const load_case =
        CaseOf("[place.base]\naxis = 'z-'\nwithin = 0.15\n[place.top]\nnormal = [0, 0, 1]\n"
               "[place.side]\nnormal = [1, 0, 0]\n[[fix]]\nplace = 'base'\naxes = 'xyz'\n"
               "[[pressure]]\nplace = 'top'\nvalue = 1\n[[pressure]]\nplace = 'side'\n"
               "value = 0.5\n[[force]]\nplace = 'side'\ntotal = [1, 2, 3]\n"
               "[gravity]\nacceleration = [2e8, -1e8, 4e8]\n");
    for (std::size_t kind = 0; kind < 4; ++kind) {
        SCOPED_TRACE(Kinds[kind]);
        Model model = MakeBlocks(NodesOfKind[kind], 2, 2, 2, bent);
        if (kind == 1) // mid-edge nodes off the middles
            for (std::size_t i = 0; i < std::size_t(model.mesh->NumberOfPoints()); ++i)
                model.mesh->GetRandomPoint(i)->z += int(i * 7919 % 1001);
        SolveOptions options = SolveWith("[place.a]\naxis = 'x-'\nwithin = 0\n");
        options.load_case = load_case;
        SolveResult const result = Solve(model, options, {});
        KetSDK::MeshSolver::AnalysisInput input;
        input.mesh = model.mesh.get();
        input.subvolumes = {"Block"};
        input.load_case = load_case.content;
        auto const analysis = KetSDK::MeshSolver::MakeAnalysis(input);
        auto const loads = analysis.AllLoads();
        std::vector<double> const& forces = NodeArray(model, L"force");
        std::vector<bool> is_held(loads.size(), false);
        for (auto const& held : analysis.held)
            is_held[held.node] = true;
        std::size_t compared = 0;
        for (std::size_t i = 0; i < loads.size(); ++i)
            for (unsigned int axis = 0; axis < 3 && !is_held[i]; ++axis, ++compared)
                EXPECT_NEAR(forces[3 * i + axis], loads[i][axis], 2e-5) << i << " " << axis;
        EXPECT_GT(compared, 30U);
        EXPECT_LT(*result.balance, 1e-5);
    }
}

TEST(Solve, BendsACantileverAsBeamTheorySays) {
    constexpr double length = 20, side = 2, force = 1;
    double const inertia = std::pow(side, 4) / 12;
    double const area = side * side;
    double const shear = Modulus / (2 * (1 + Poisson));
    // Timoshenko's beam, with the shear coefficient of Cowper (1966).
    double const coefficient = 10 * (1 + Poisson) / (12 + 11 * Poisson);
    double const expected =
        force * std::pow(length, 3) / (3 * Modulus * inertia) + force * length / (coefficient * shear * area);
    double last_error = 1.0;
    for (int const n : {1, 2, 4}) {
        Model model = MakeBlocks(10, 5 * n, n, n, Box(length, side, side));
        Solve(model,
              SolveWith(
                  "[place.root]\naxis = 'x-'\nwithin = 0\n[place.tip]\nnormal = [1, 0, 0]\n[[fix]]\nplace = "
                  "'root'\naxes = 'xyz'\n[[force]]\nplace = 'tip'\ntotal = [0, 0, -1]\n"),
              {});
        std::vector<double> const& displacement = NodeArray(model, L"displacement");
        double sum = 0.0;
        int count = 0;
        for (std::size_t i = 0; i < displacement.size() / 3; ++i)
            if (model.mesh->GetRandomPoint(i)->GetPosition()[0] == length) {
                sum -= displacement[3 * i + 2];
                ++count;
            }
        double const error = std::fabs(sum / count / expected - 1.0);
        EXPECT_LT(error, last_error);
        last_error = error;
    }
    EXPECT_LT(last_error, 0.012);
}

TEST(Solve, BalancesLoadsOnTheRealHead) {
    Model model = ReadModel(KETSDK_DATA_DIR "/head_small_tet4.vtu", {}, {});
    MaterialsOptions materials;
    materials.law = {1, 0.001, 1, 0, 0};
    materials.modulus = {3000, 2};
    materials.bins = 10;
    Materials(model, ReadImage(KETSDK_DATA_DIR "/head_ct.nii.gz", {}, {}), materials, {});
    std::string const places =
        "[place.base]\naxis = 'z-'\nwithin = 5\n[place.crown]\naxis = 'z+'\nwithin = 20\n"
        "normal = [0, 0, 1]\nangle = 60\n[[fix]]\nplace = 'base'\naxes = 'xyz'\n";
    SolveOptions options =
        SolveWith(places + "[[pressure]]\nplace = 'crown'\nvalue = 0.01\n[[force]]\nplace = "
                           "'crown'\ntotal = [5, 0, -50]\n[gravity]\nacceleration = "
                           "[0, 0, -9810]\n");
    std::vector<std::vector<double>> displacements;
    for (MaterialsAs const as : {MaterialsAs::Bins, MaterialsAs::Elements}) {
        options.materials = as;
        SolveResult const result = Solve(model, options, {});
        EXPECT_LT(*result.balance, 1e-5);
        EXPECT_NEAR(result.reactions.front().force[2], -result.applied[2],
                    1e-5 * std::fabs(result.applied[2]));
        displacements.push_back(NodeArray(model, L"displacement"));
    }
    EXPECT_EQ(displacements[0], displacements[1]); // the same moduli in other words
}

TEST(Solve, IteratesUntilAllNodesAreBalanced) {
    // Few loaded nodes; moved ones, whose neighbours have forces beyond any load; and both.
    std::string const held =
        "[place.base]\naxis = 'z-'\nwithin = 0\n[place.tip]\nbox = [0, 0, 30, 3, 3, 30]\n"
        "[[fix]]\nplace = 'base'\naxes = 'xyz'\n";
    std::string const pressed = "[[pressure]]\nplace = 'tip'\nvalue = 1\n";
    std::string const moved =
        "[place.side]\nbox = [10, 0, 10, 10, 10, 20]\n[[displace]]\nplace = 'side'\nby = { x = 0.5 }\n";
    for (std::string const& loads : {pressed, moved, pressed + moved}) {
        SCOPED_TRACE(loads);
        Model model = MakeBlocks(10, 4, 4, 8, Box(10, 10, 30));
        SolveOptions options = SolveWith(held + loads);
        Solve(model, options, {});
        std::vector<double> const direct = NodeArray(model, L"displacement");
        options.method = KetSDK::MeshSolver::DeckOptions::Method::Iterative;
        SolveResult const result = Solve(model, options, {});
        EXPECT_LT(result.balance.value_or(0.0), loads == pressed ? 2e-5 : 1e-4);
        std::vector<double> const& iterative = NodeArray(model, L"displacement");
        double largest = 0.0;
        for (std::size_t i = 0; i < direct.size(); ++i)
            largest = std::max(largest, std::fabs(iterative[i] - direct[i]));
        EXPECT_LT(largest, 1e-4 * result.max_displacement);
    }
}

TEST(Solve, TakesModuliOfBinsElementsAndNodes) {
    // Two halves of a bar in series, the second ten times as stiff: by elements as by bins.
    std::string const pull =
        "[place.left]\naxis = 'x-'\nwithin = 0\n[place.right]\nnormal = [1, 0, 0]\n[[fix]]\n"
        "place = 'left'\naxes = 'xyz'\n[[force]]\nplace = 'right'\ntotal = [8, 0, 0]\n";
    auto const moved = [&pull](MaterialsAs as, bool as_array, double second) {
        Model model = MakeBlocks(10, 4, 1, 1, Box(8, 2, 2));
        MMeshArray moduli{L"emodulus", MMeshArray::OnElements, 1, L"float64", {}};
        auto& values = moduli.values.emplace<std::vector<double>>();
        MMeshMaterial stiff = *model.mesh->GetMaterialCatalog().GetMaterialWithID(1);
        stiff.SetID(2);
        stiff.SetEmodulus(second);
        model.mesh->GetMaterialCatalog().AddMaterial(stiff);
        for (MMeshElement const& e : model.mesh->Elements()) {
            bool const is_right =
                e.GetNode(0)->x + e.GetNode(1)->x + e.GetNode(2)->x + e.GetNode(3)->x > 16 * 65536;
            values.push_back(is_right ? second : Modulus);
            if (!as_array)
                model.mesh->GetElementMasks()->GetMaterialMask()->SetValue(e, is_right ? 2 : 1);
        }
        if (as_array)
            model.arrays.push_back(moduli);
        SolveOptions options = SolveWith(pull);
        options.materials = as;
        Solve(model, options, {});
        return NodeArray(model, L"displacement");
    };
    EXPECT_EQ(moved(MaterialsAs::Bins, false, 1e4), moved(MaterialsAs::Elements, true, 1e4));
    EXPECT_EQ(moved(MaterialsAs::Bins, false, Modulus), moved(MaterialsAs::Elements, true, Modulus));
    auto const near = [](std::vector<double> const& a, std::vector<double> const& b) {
        double largest = 0.0;
        for (std::size_t i = 0; i < a.size(); ++i)
            largest = std::max(largest, std::fabs(a[i] - b[i]));
        return largest;
    };
    EXPECT_LT(near(moved(MaterialsAs::Bins, false, Modulus), moved(MaterialsAs::Nodes, false, Modulus)),
              1e-7);
    // Between them the modulus rises within elements instead of jumping.
    double const jump = near(moved(MaterialsAs::Bins, false, 1e4), moved(MaterialsAs::Nodes, false, 1e4));
    EXPECT_GT(jump, 1e-4);
    EXPECT_LT(jump, 5e-3);
}

// A program named ccx that does what the script says.
std::string FakeSolver(Folder const& folder, std::string const& script) {
    Save(folder / "ccx", "#!/bin/sh\n" + script + "\n");
    fs::permissions(folder / "ccx", fs::perms::owner_all);
    return folder.GetPath().string() + ":/usr/bin:/bin";
}

TEST(Solve, SaysInOneLineWhyThereIsNoResult) {
    Model model = MakeBlocks(8, 1, 1, 1, Box(1, 1, 1));
    std::string const text = Supports + "[[pressure]]\nplace = 'top'\nvalue = 1\n";
    Folder folder;
    using Method = KetSDK::MeshSolver::DeckOptions::Method;
    auto const solve = [&](std::string const& path, double timeout = 0.0, Method method = Method::Auto) {
        SolveOptions options = SolveWith(text);
        options.method = method;
        options.path = path;
        options.timeout = timeout;
        return [&model, options] { Solve(model, options, {}); };
    };
    ExpectRefusals({{solve("/nonexistent"), "ccx) is not on the path; install it"}});
    ExpectRefusals({{solve(FakeSolver(folder, "echo ' *ERROR in e_c3d: nonpositive jacobian'\n"
                                              "echo '         determinant in element 7'\nexit 201")),
                     "CalculiX has failed: *ERROR in e_c3d: nonpositive jacobian determinant in element 7"}});
    ExpectRefusals({{solve(FakeSolver(folder, "kill -9 $$")), "ended by signal 9"}});
    ExpectRefusals({{solve(FakeSolver(folder, "exit 3")), "exit status is 3 and it names no error; --keep"}});
    ExpectRefusals({{solve(FakeSolver(folder, "exit 0")), "has left no results"}});
    std::string const slow = FakeSolver(folder, "exec sleep 60");
    ExpectRefusals({{solve(slow, 0.2), "in 0.2 seconds; --timeout gives it more, and --solver iterative"}});
    try {
        solve(slow, 0.2, Method::Iterative)();
        ADD_FAILURE();
    } catch (Error const& e) {
        EXPECT_TRUE(std::string(e.what()).ends_with("--timeout gives it more")) << e.what();
    }
    // A host that ignores the end of its children never hears the status of one: that is no success either.
    auto* const before = std::signal(SIGCHLD, SIG_IGN);
    for (char const* const script : {"exit 3", "exit 0"})
        ExpectRefusals({{solve(FakeSolver(folder, script)), "whether it failed cannot be told"}});
    std::signal(SIGCHLD, before);
    EXPECT_TRUE(model.arrays.empty());
}

TEST(Solve, WorksInTheTemporaryFolderThatItIsGiven) {
    Model model = MakeBlocks(8, 1, 1, 1, Box(1, 1, 1));
    Folder folder;
    SolveOptions options = SolveWith(Supports + "[[pressure]]\nplace = 'top'\nvalue = 1\n");
    options.path = FakeSolver(folder, "pwd >" + (folder / "place"));
    options.temporary = folder / "nowhere";
    ExpectRefusals({{[&] { Solve(model, options, {}); }, "nowhere: no folder for the solver's files"}});
    options.temporary = folder.GetPath();
    ExpectRefusals({{[&] { Solve(model, options, {}); }, "has left no results"}});
    EXPECT_TRUE(Content(folder / "place").starts_with(folder / "ketsdk-tmp-"));
}

// A block that is there twice would be twice as stiff and heavy, without being one body.
TEST(Solve, WarnsOfWhatIsThereTwice) {
    Model model = MakeBlocks(8, 1, 1, 1, Box(1, 1, 1));
    std::vector<MMeshPoint*> copies;
    for (std::uint64_t i = 0; i < 8; ++i) {
        MMeshPoint const p = *model.mesh->GetElement(0)->GetNode(static_cast<unsigned int>(i));
        copies.push_back(model.mesh->AddPoint(p.x, p.y, p.z));
    }
    model.mesh->AddElement(8, copies.data());
    SetMaterial(model);
    Folder folder;
    SolveOptions options = SolveWith(Supports + "[[pressure]]\nplace = 'top'\nvalue = 1\n");
    options.path = FakeSolver(folder, "exit 0");
    Context context;
    std::string warnings;
    context.warn = [&warnings](std::string const& message) { warnings += message + "\n"; };
    EXPECT_THROW(Solve(model, options, context), Error);
    for (char const* const part : {"8 nodes lie at the position of another", "ketmesh weld joins them",
                                   "1 element lies on the nodes of an earlier one", "ketmesh check"})
        EXPECT_NE(warnings.find(part), std::string::npos) << part << " in " << warnings;
}

class CancelWhen : public KetSDK::Common::IProgressDelegate {
public:
    explicit CancelWhen(std::function<bool()> when)
        : m_when(std::move(when)) {}
    void Begin(std::string const&, bool) override {}
    void Advance(double) override {}
    void End() override {}
    bool IsCancelled() const override { return m_when(); }

private:
    std::function<bool()> m_when;
};

TEST(Solve, EndsTheSolverWhenCancelledAndKeepsItsFilesOnRequest) {
    Model model = MakeBlocks(8, 1, 1, 1, Box(1, 1, 1));
    Folder folder;
    SolveOptions options = SolveWith(Supports + "[[pressure]]\nplace = 'top'\nvalue = 1\n");
    options.keep = folder / "run";
    Solve(model, options, {});
    for (char const* const file : {"model.inp", "model.frd", "model.log"})
        EXPECT_TRUE(fs::exists(fs::path(options.keep) / file)) << file;
    Model again = MakeBlocks(8, 1, 1, 1, Box(1, 1, 1));
    ResultsReport const report = Results(again, options.keep + "/model.frd", {}, {});
    EXPECT_EQ(report.step, 1);
    EXPECT_EQ(again.arrays, model.arrays);
    Model larger = MakeBlocks(8, 1, 1, 2, Box(1, 1, 2)); // the block, and four nodes more
    Context warned;
    std::string warning;
    warned.warn = [&warning](std::string const& message) { warning += message; };
    Results(larger, options.keep + "/model.frd", {}, warned);
    EXPECT_NE(warning.find("4 of the 12 nodes"), std::string::npos) << warning;

    options.path = FakeSolver(folder, "echo $$ > " + (folder / "pid") + "\nexec sleep 60");
    Context context;
    context.progress = std::make_shared<CancelWhen>([&folder] { return !Content(folder / "pid").empty(); });
    EXPECT_THROW(Solve(model, options, context), Cancelled);
    EXPECT_FALSE(fs::exists("/proc/" + std::to_string(std::stoi(Content(folder / "pid")))));
}

TEST(Solve, RefusesWhatNoSolverTakes) {
    std::string const good = Supports + "[[pressure]]\nplace = 'top'\nvalue = 1\n";
    auto const solve = [](std::string const& text, std::function<void(Model&)> const& spoil) {
        return [text, spoil] {
            Model model = MakeBlocks(10, 1, 1, 1, Box(1, 1, 1));
            spoil(model);
            Solve(model, SolveWith(text), {});
        };
    };
    auto const as_is = [](Model&) {};
    auto const material = [](auto const& set) {
        return [set](Model& model) { set(*model.mesh->GetMaterialCatalog().GetMaterialWithID(1)); };
    };
    constexpr double unset = DBL_MAX;
    ExpectRefusals({
        {solve(good, [](Model& model) { model.mesh->GetElementMasks()->ReleaseMaterialMask(); }),
         "the model has no materials; ketmesh materials"},
        {solve(good, material([](MMeshMaterial& m) { m.SetEmodulus(unset); })), "has no modulus"},
        {solve(good, material([](MMeshMaterial& m) { m.SetEmodulus(0.0); })), "not above 0"},
        {solve(good, material([](MMeshMaterial& m) { m.SetPoisson(0.5); })), "between -1 and 0.5"},
        {solve(good + "[gravity]\nacceleration = [0, 0, -1]\n",
               material([](MMeshMaterial& m) { m.SetDensity(unset); })),
         "no density, which gravity needs"},
        {solve(good, [](Model& model) { model.mesh->GetElement(3)->SwapNodes(0, 1); }),
         "1 element is inverted (the first is 3), which no solver takes; ketmesh orient"},
        {solve(good, [](Model& model) { model.mesh->GetElement(3)->SwapNodes(4, 5); }),
         "1 element is folded (the first is 3), which no solver takes; ketmesh repair"},
        {solve(good + "[[fix]]\nplace = 'none'\naxes = 'x'\n[place.none]\nbox = [5, 5, 5, 6, 6, 6]\n", as_is),
         "case.toml: there is no node in the place \"none\": no node meets its box; the mesh reaches from x "
         "0 "
         "to 1, y 0 to 1, z 0 to 1 mm"},
        {solve(good + "[[pressure]]\nplace = 'line'\nvalue = 1\n[place.line]\nbox = [0, 0, 0, 0, 0, 1]\n",
               as_is),
         "there is no face in the place \"line\": no outer face meets its box"},
        {solve(good + "[place.other]\nsurface = 'Skin-'\n[[fix]]\nplace = 'other'\naxes = 'x'\n", as_is),
         "\"Skin-\", which the mesh does not have; there are Block-"},
        {solve(good + "[place.other]\nsubvolume = 'Bone'\n[[fix]]\nplace = 'other'\naxes = 'x'\n", as_is),
         "\"Bone\", which the mesh does not have; there are Block"},
        {solve(good + "[[displace]]\nplace = 'base'\nby = [0, 0, 1]\n", as_is),
         "move it differently along z"},
        {solve("[place.base]\naxis = 'z-'\nwithin = 0\n[[fix]]\nplace = 'base'\naxes = 'z'\n", as_is),
         "can move in 3 of the 6 ways"},
        {solve("[place.corner]\nbox = [0, 0, 0, 0, 0, 0]\n[[fix]]\nplace = 'corner'\naxes = 'xyz'\n", as_is),
         "can move in 3 of the 6 ways"},
        {solve("[place.base]\naxis = 'z-'\nwithin = 0\n", as_is), "it only names places"},
    });
}

TEST(Solve, HoldsEveryBodyThatHangsTogetherByFaces) {
    // Two blocks that share an edge: the second can turn about it.
    Model model = MakeBlocks(8, 2, 1, 2, Box(2, 1, 2));
    Model two;
    two.mesh = std::make_unique<MMeshBase>();
    std::vector<MMeshPoint*> nodes;
    for (auto it = model.mesh->BeginPoint(); it != model.mesh->EndPoint(); ++it)
        nodes.push_back(two.mesh->AddPoint(it->x, it->y, it->z));
    for (std::size_t const i : {std::size_t{0}, std::size_t{3}}) {
        MMeshElement const& e = *model.mesh->GetElement(i);
        std::vector<MMeshPoint*> of_element;
        for (unsigned int k = 0; k < 8; ++k)
            of_element.push_back(nodes[std::size_t(e.GetNode(k)->GetIndex())]);
        two.mesh->AddElement(8, of_element.data());
    }
    SetMaterial(two);
    std::string const base =
        "[place.base]\nbox = [0, 0, 0, 1, 1, 1]\n[[fix]]\nplace = 'base'\naxes = 'xyz'\n";
    ExpectRefusals({{[&] { Solve(two, SolveWith(base), {}); },
                     "the one with element 1 (1 element) can move in 1 of the 6"}});
}

} // namespace
