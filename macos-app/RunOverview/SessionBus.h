#pragma once

#include <QDBusConnection>

#include <optional>

/// The desktop's message bus; nothing where none runs. None is ever started for us: it would outlive us.
[[nodiscard]] std::optional<QDBusConnection> sessionBus();
