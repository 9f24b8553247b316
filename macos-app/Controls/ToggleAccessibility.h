#pragma once

class QAccessibleInterface;
class QObject;
class QString;

/// For QAccessible::installFactory, before the first check box or radio button is made: a screen reader that toggles
/// one clicks on it. Qt would only turn its mark, without the signal that a click sends.
QAccessibleInterface* speakToggle(const QString& className, QObject* object);
