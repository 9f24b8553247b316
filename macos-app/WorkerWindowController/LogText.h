#pragma once

#include <QTextBlock>
#include <QTextCursor>

/// How the text of a log stands in its document, from which it can be had back to the character.
///
/// A block is a line, with two exceptions, because a block costs much memory and a long one much time: a very long line
/// is divided, and lines that come by the hundred at once share blocks, in which QChar::LineSeparator divides them. A
/// block's user state tells what stands before it and in the place of each of these separators.

/// The length of the text's beginning of at least so many characters that tears nothing apart which belongs together.
qsizetype wholeCharacters(QStringView text, qsizetype length);

/// Writes at the document's end, where the cursor stands, in one edit.
void writeLogText(QTextCursor end, QStringView text);

/// What was written and now stands between these positions of the document.
QString readLogText(const QTextDocument& document, int start, int end);

/// Has blocks that are not laid out count as many lines as they have without wrapping; Qt takes them for one.
void countLogLines(QTextBlock firstBlock);
