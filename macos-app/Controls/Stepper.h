#pragma once

#include <QSpinBox>

/// The two arrows of a spin box without its text, which another field shows.
class Stepper final : public QSpinBox
{
    Q_OBJECT

public:
    explicit Stepper(QWidget* parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
};
