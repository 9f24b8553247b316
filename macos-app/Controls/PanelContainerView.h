#pragma once

#include <QWidget>

/// A rounded, bordered panel that frames a group of controls.
class PanelContainerView final : public QWidget
{
    Q_OBJECT

public:
    explicit PanelContainerView(QWidget* parent = nullptr);

    /// Where the controls go; 18 inside the panel on every side.
    [[nodiscard]] QWidget* contentView() const { return m_contentView; }

protected:
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void updateOutlines();

    QWidget* m_contentView;
};
