#include "WorkerWindowController/LogText.h"

#include <QTextDocument>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype charactersInBlock = 8192;
/// Lines that get blocks of their own although they come together: more than are seen at once.
constexpr qsizetype linesAtOnce = 200;

// States of a block. Any other state is the character that stands before it.
constexpr int afterLineFeed = -1; ///< what Qt gives every block
constexpr int afterNothing = 0;
constexpr int afterReturnAndLineFeed = 1;

/// The characters that Qt takes for the end of a block or of a line.
bool isBreak(QChar character)
{
    const char16_t code = character.unicode();
    return code == u'\n' || code == u'\r' || code == 0x2028 || code == 0x2029 || code == 0xfdd0 || code == 0xfdd1;
}

int stateAfter(QStringView lineBreak)
{
    if (lineBreak.size() == 2)
        return afterReturnAndLineFeed;
    return lineBreak.front() == u'\n' ? afterLineFeed : lineBreak.front().unicode();
}

QString textBefore(const QTextBlock& block)
{
    switch (const int state = block.userState()) {
    case afterLineFeed:
        return u"\n"_s;
    case afterNothing:
        return {};
    case afterReturnAndLineFeed:
        return u"\r\n"_s;
    default:
        return QChar(state);
    }
}

qsizetype lengthOfLine(QStringView text)
{
    return std::find_if(text.begin(), text.end(), isBreak) - text.begin();
}

/// Writes at the end of a document. What goes into one block is collected first.
class BlockWriter final
{
public:
    explicit BlockWriter(const QTextCursor& end)
        : m_end(end)
        , m_state(end.block().userState())
        , m_length(end.positionInBlock())
    {}

    void write(QStringView text)
    {
        auto linesLeft = std::count_if(text.begin(), text.end(), isBreak);
        for (qsizetype length = lengthOfLine(text);; length = lengthOfLine(text)) {
            writeLine(text.first(length));
            text = text.sliced(length);
            if (text.isEmpty())
                break;
            const QStringView lineBreak = text.first(text.startsWith(u"\r\n") ? 2 : 1);
            text = text.sliced(lineBreak.size());
            if (linesLeft-- > linesAtOnce && m_state == stateAfter(lineBreak) && charactersLeft() > lengthOfLine(text))
                m_collected += QChar::LineSeparator;
            else
                beginBlock(stateAfter(lineBreak));
        }
        m_end.insertText(m_collected);
    }

private:
    void writeLine(QStringView line)
    {
        while (line.size() > charactersLeft()) {
            const qsizetype length = wholeCharacters(line, charactersLeft());
            m_collected += line.first(length);
            beginBlock(afterNothing);
            line = line.sliced(length);
        }
        m_collected += line;
    }

    void beginBlock(int state)
    {
        m_end.insertText(m_collected);
        m_collected.clear();
        m_end.insertBlock();
        m_end.block().setUserState(state);
        m_state = state;
        m_length = 0;
    }

    [[nodiscard]] qsizetype charactersLeft() const
    {
        return std::max<qsizetype>(0, charactersInBlock - m_length - m_collected.size());
    }

    QTextCursor m_end;
    int m_state;        ///< of the last block
    qsizetype m_length; ///< of the last block, without what is collected
    QString m_collected;
};

} // namespace

qsizetype wholeCharacters(QStringView text, qsizetype length)
{
    if (length >= text.size())
        return text.size();
    const bool isTorn = length > 0 && (text[length - 1].isHighSurrogate() || text[length - 1] == u'\r');
    return isTorn ? length + 1 : length;
}

void writeLogText(QTextCursor end, QStringView text)
{
    const QTextBlock last = end.block();
    end.beginEditBlock(); // every edit lays out the end of the document anew
    BlockWriter(end).write(text);
    countLogLines(last);
    end.endEditBlock();
}

QString readLogText(const QTextDocument& document, int start, int end)
{
    QString text;
    for (QTextBlock block = document.findBlock(start); block.isValid() && block.position() <= end;
         block = block.next()) {
        const QString before = textBefore(block);
        if (block.position() > start)
            text += before;
        const int from = std::max(0, start - block.position());
        text += block.text().mid(from, end - block.position() - from).replace(QChar::LineSeparator, before);
    }
    return text;
}

void countLogLines(QTextBlock block)
{
    for (; block.isValid(); block = block.next()) {
        if (const auto separators = block.text().count(QChar::LineSeparator); separators > 0)
            block.setLineCount(static_cast<int>(separators) + 1);
    }
}
