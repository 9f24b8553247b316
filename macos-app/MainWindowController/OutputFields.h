#pragma once

#include "Models/FileURL.h"

#include <QObject>

#include <optional>

class MainWindow;

/// Where the clips go and what they are called: the fields of the output folder and of the prefix, and the preview of
/// the first name. The folder is that of the video until the user chooses one.
class OutputFields final : public QObject
{
    Q_OBJECT
public:
    explicit OutputFields(MainWindow& window);

    /// The folder is that of the list's video again, unless the user has chosen one.
    void followVideo();
    /// As the field names it, else the one chosen last, else the video's.
    [[nodiscard]] std::optional<FileURL> directoryURL() const;
    void updateNamingPreview();

Q_SIGNALS:
    /// The folder or the prefix is another.
    void changed();

private:
    void choose();
    void apply(const FileURL& url, bool manual);
    void reset();
    void edited();
    [[nodiscard]] std::optional<FileURL> videoDirectoryURL() const;

    MainWindow& m_window;
    std::optional<FileURL> m_directoryURL; ///< the one applied last
    bool m_wasChosenManually = false;
};
