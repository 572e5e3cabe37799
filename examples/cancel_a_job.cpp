// SPDX-License-Identifier: BSD-3-Clause
// Cancels a long job from another thread: cancel_a_job MESH
//
// 1. Read the mesh.
// 2. Write a delegate: the job asks it now and then, on its own thread, whether the user cancelled.
// 3. Run the operator, and cancel from another thread once it is under way.
// 4. Operate() returns false, and the header says what is left: here the values that were computed.
// 5. Run again without cancelling.
#include <KetSDK/Common/Progress/IProgressDelegate.h>
#include <KetSDK/Mesh/geometry/MMeshQualityAnalysisOperator.h>
#include <KetSDK/Mesh/mesh/MMeshBase.h>
#include <KetSDK/MeshJobs/Error.h>
#include <KetSDK/MeshJobs/ModelFile.h>

#include <atomic>
#include <iostream>
#include <thread>

namespace {

// 2.
class Delegate : public KetSDK::Common::IProgressDelegate {
public:
    void Begin(std::string const&, bool) override { is_running.test_and_set(), is_running.notify_all(); }
    void Advance(double) override {}
    void End() override {}
    bool IsCancelled() const override {
        while (waits_for_cancel && !is_cancelled) // so that this small mesh does not finish first
            std::this_thread::yield();
        return is_cancelled;
    }

    std::atomic_flag is_running;
    std::atomic<bool> is_cancelled = false;
    bool waits_for_cancel = true;
};

} // namespace

int main(int argc, char** argv) try {
    // 1.
    auto const model = KetSDK::MeshJobs::ReadModel(argc > 1 ? argv[1] : "", {}, {});
    auto const delegate = std::make_shared<Delegate>();
    MMeshQualityAnalysisOperator analysis;
    analysis.SetMesh(model.mesh.get());
    analysis.SetProgressDelegate(delegate);

    // 3.
    std::thread user([&] {
        delegate->is_running.wait(false);
        delegate->is_cancelled = true;
    });
    bool const finished = analysis.Operate();
    user.join();

    // 4.
    std::cout << (finished ? "finished" : "cancelled") << " with "
              << analysis.GetQualityHistogram()->GetValues().size() << " values\n";

    // 5.
    delegate->is_cancelled = delegate->waits_for_cancel = false;
    return !finished && analysis.Operate() ? 0 : 1;
} catch (KetSDK::MeshJobs::Error const& error) {
    std::cerr << "cancel_a_job: " << error.what() << "\n";
    return 1;
}
