// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/Mesh/MMeshExport.h>
#include <KetSDK/Mesh/mesh/MMeshOperatorSettings.h>

class MMeshBase;

// Base of every algorithm that works on a mesh. An operator is a one-shot job: give it the mesh, its
// settings where it has any and its own inputs, call Operate(), read the results. Mesh and settings are
// borrowed: the caller keeps them alive until Operate() has returned and the operator is done with.
// Copies refer to the same mesh and settings. One thread at a time uses an operator and its mesh.
class KETSDK_MESH_API MMeshOperator {
public:
    virtual ~MMeshOperator();
    virtual MMeshOperatorSettings const* GetSettings() const;
    virtual MMeshOperatorSettings* GetSettings();
    virtual void SetSettings(MMeshOperatorSettings* settings);
    virtual void SetMesh(MMeshBase* mesh);
    virtual MMeshBase* GetMesh();
    // Whether Operate() may use several threads, as many as the task arena of the caller has; false unless
    // set. The result is the same bit for bit either way. What still runs on one thread is listed in
    // docs/concepts/threads.md.
    void SetParallel(bool parallel) noexcept { m_parallel = parallel; }
    bool GetParallel() const noexcept { return m_parallel; }
    // Runs the job. False when the mesh or the settings do not suit, and after cancellation.
    virtual bool Operate() = 0;
    // Hook for discarding results; does nothing here.
    virtual void ClearOperator();

protected:
    MMeshOperator() = default;
    MMeshOperator(MMeshOperator const&) = default;
    MMeshOperator& operator=(MMeshOperator const&) = default;

private:
    MMeshOperatorSettings* m_settings = nullptr;
    MMeshBase* m_mesh = nullptr;
    bool m_parallel = false;
};
