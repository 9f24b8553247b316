#pragma once

#include "Batch/FileMark.h"
#include "Models/CropParameters.h"
#include "Services/DetectorService.h"
#include "Services/MessageError.h"

/// The command line was not understood.
class UsageError final : public MessageError
{
public:
    using MessageError::MessageError;
};

/// What was asked for: a command, its options and operands. What is not an option of a command keeps its default.
struct CommandLine
{
    QString command;
    QStringList operands; ///< as given, those of a file of names included
    std::optional<FileURL> directory;
    DetectionRequest detection; ///< without a video
    int lanes = 3;
    std::optional<CropParameters> crop;
    std::optional<QString> prefix;
    QString format;
    bool isQuiet = false;
    bool doesAll = false;
    bool json = false;
    bool endsWithNul = false;
    bool help = false;
    // of a single job
    std::optional<FileMark> source;
    QString output; ///< FOLDER/NAME
    QString start;
    QString duration;
    qint64 number = 1;
};

/// The words after the program's name. Names after --files0-from are read too. Throws UsageError.
[[nodiscard]] CommandLine readCommandLine(const QByteArrayList& words);
