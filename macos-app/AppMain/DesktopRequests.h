#pragma once

#include <QObject>
#include <QVariantMap>

class MainWindowController;

/// What the desktop asks of the running program: to come to the front, and to open a file. macOS sends an event for it,
/// other desktops call the interface org.freedesktop.Application, whose methods are the slots here.
class DesktopRequests final : public QObject
{
    Q_OBJECT
public:
    explicit DesktopRequests(MainWindowController& controller);

    bool eventFilter(QObject* watched, QEvent* event) override;

public Q_SLOTS:
    // NOLINTBEGIN(readability-identifier-naming): the interface's names
    void Activate(const QVariantMap& platformData);
    /// One video is worked on at a time: the first that is a file of this machine is opened.
    void Open(const QStringList& uris, const QVariantMap& platformData);
    void ActivateAction(const QString& name, const QVariantList& parameters, const QVariantMap& platformData);
    // NOLINTEND(readability-identifier-naming)

private:
    MainWindowController& m_controller;
};
