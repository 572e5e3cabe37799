// SPDX-License-Identifier: BSD-3-Clause
#pragma once

#include <KetSDK/MeshJobs/MeshJobsExport.h>

#include <stdexcept>
#include <string>

namespace KetSDK::MeshJobs {

// What every job throws for input that it cannot use and for a job that failed. The message is one line in
// UTF-8 that says what is wrong and, where that helps, what would be right; names in it are made printable.
// What a job was making is gone; its inputs are as they were unless the job says otherwise.
class KETSDK_MESHJOBS_API Error : public std::runtime_error {
public:
    explicit Error(std::string const& message);
    ~Error() override;
};

// Something is wrong with a file, or with a model or surface that was read from it; the message begins with
// the name of the file.
class KETSDK_MESHJOBS_API FileError : public Error {
public:
    FileError(std::string const& file, std::string const& message);
    ~FileError() override;

    std::string const& GetFile() const noexcept { return m_file; }

private:
    std::string m_file;
};

// The user cancelled the job. Nothing is wrong. A mesh that the job changes in place is as it was. Once it
// has changed a mesh, a job no longer asks: it goes on to its end and gives its result.
class KETSDK_MESHJOBS_API Cancelled : public Error {
public:
    Cancelled();
    ~Cancelled() override;
};

} // namespace KetSDK::MeshJobs
