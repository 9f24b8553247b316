#pragma once

#include <QLineEdit>

#include <functional>

class QMimeData;

/// A field for a path, which also takes a file or folder dropped from the file manager. Dropped text is refused.
/// A path that comes in quotes or as a file's address becomes the plain path as soon as it is typed or pasted.
/// While it is not being edited, a path longer than the field keeps its beginning and its file name visible.
class DroppablePathField final : public QLineEdit
{
    Q_OBJECT

public:
    enum class AcceptKind {
        file,
        directory,
        any
    };

    explicit DroppablePathField(AcceptKind kind = AcceptKind::any, QWidget* parent = nullptr);

    AcceptKind acceptKind;
    /// Called with the absolute path after a drop; the field shows it already.
    std::function<void(const QString& path)> onURLDropped;

    // What a drag does here, for a window that passes on what is dragged elsewhere over it.

    /// Shows whether a drop would be taken.
    bool considerDrop(const QMimeData* dragged);
    void forgetDrop();
    /// Whether it was taken.
    bool takeDrop(const QMimeData* dragged);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void initStyleOption(QStyleOptionFrame* option) const override;

private:
    [[nodiscard]] QString firstAcceptedPath(const QMimeData* dragged) const;
    void setDropHighlight(bool highlighted);
    void replaceByPlainPath(const QString& typed);

    bool m_isHighlightedForDrop = false;
};
