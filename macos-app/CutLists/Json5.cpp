#include "CutLists/Json5.h"

using namespace Qt::StringLiterals;

namespace {

class Converter final
{
public:
    explicit Converter(QStringView text)
        : m_text(text)
    {}

    QString convert()
    {
        while (m_at < m_text.size())
            step();
        return m_json;
    }

private:
    void step()
    {
        const QChar c = m_text[m_at];
        if (c == u'"' || c == u'\'')
            string(c);
        else if (c == u'/')
            comment();
        else if (c == u'}' || c == u']')
            close(c);
        else if (c.isLetterOrNumber() || u"_$+-."_s.contains(c))
            word();
        else
            m_json += m_text[m_at++];
    }

    void string(QChar quote)
    {
        m_json += u'"';
        for (++m_at; m_at < m_text.size() && m_text[m_at] != quote; ++m_at) {
            const QChar c = m_text[m_at];
            if (c == u'\\' && m_at + 1 < m_text.size())
                escape(m_text[++m_at]);
            else
                m_json += c == u'"' ? u"\\\""_s : QString(c);
        }
        ++m_at;
        m_json += u'"';
    }

    void escape(QChar c)
    {
        if (c == u'x') { // two hexadecimal digits
            m_json += u"\\u00"_s;
        } else if (c == u'\r') {
            if (m_text.mid(m_at + 1).startsWith(u'\n'))
                ++m_at;
        } else if (c == u'v' || c == u'0') {
            m_json += c == u'v' ? u"\\u000b"_s : u"\\u0000"_s;
        } else if (c != u'\n' && c != QChar::LineSeparator && c != QChar::ParagraphSeparator) { // a continued line
            m_json += u"\"\\/bfnrtu"_s.contains(c) ? u"\\"_s + c : QString(c);
        }
    }

    void comment()
    {
        const QStringView rest = m_text.mid(m_at);
        const QLatin1StringView end = rest.startsWith("//"_L1) ? "\n"_L1 : "*/"_L1;
        if (!rest.startsWith("//"_L1) && !rest.startsWith("/*"_L1)) {
            m_json += m_text[m_at++];
            return;
        }
        const qsizetype found = rest.indexOf(end, 2);
        m_at = found < 0 ? m_text.size() : m_at + found + end.size();
        m_json += u' ';
    }

    void close(QChar bracket)
    {
        qsizetype last = m_json.size();
        while (last > 0 && m_json[last - 1].isSpace())
            --last;
        if (last > 0 && m_json[last - 1] == u',')
            m_json.truncate(last - 1);
        m_json += bracket;
        ++m_at;
    }

    /// A key without quotes, a number or a literal.
    void word()
    {
        const qsizetype start = m_at;
        while (m_at < m_text.size() && (m_text[m_at].isLetterOrNumber() || u"_$+-."_s.contains(m_text[m_at])))
            ++m_at;
        QString word = m_text.mid(start, m_at - start).toString();
        qsizetype next = m_at;
        while (next < m_text.size() && m_text[next].isSpace())
            ++next;
        if (next < m_text.size() && m_text[next] == u':')
            m_json += u'"' + word + u'"';
        else
            m_json += number(word);
    }

    static QString number(QString word)
    {
        if (word == u"NaN" || word.endsWith(u"Infinity"_s) || word == u"undefined")
            return u"null"_s;
        if (word.startsWith(u'+'))
            word.remove(0, 1);
        if (word.startsWith(u"0x"_s, Qt::CaseInsensitive))
            return QString::number(word.toULongLong(nullptr, 16));
        if (word.startsWith(u'.'))
            word.prepend(u'0');
        word.replace(u"-."_s, u"-0."_s);
        if (word.endsWith(u'.'))
            word.chop(1);
        return word;
    }

    QStringView m_text;
    qsizetype m_at = 0;
    QString m_json;
};

} // namespace

QString jsonOfJson5(QStringView text)
{
    return Converter(text).convert();
}
