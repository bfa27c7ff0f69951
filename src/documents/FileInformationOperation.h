#pragma once

#include "documents/FileInformation.h"
#include "foundation/Operation.h"

#include <QByteArray>

#include <optional>

namespace korvane {

/// Asks the file system about a file. May wait for a slow disk or network.
class FileInformationOperation : public Operation {
public:
    explicit FileInformationOperation(QByteArray path) : path_(std::move(path)) {}

    /// Nothing when there was no answer. From the completion on.
    const std::optional<FileInformation>& information() const { return information_; }

protected:
    void main() override;

private:
    const QByteArray path_;
    std::optional<FileInformation> information_;
};

} // namespace korvane
