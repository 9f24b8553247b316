#include "Services/MessageError.h"

#include <new>

using namespace Qt::StringLiterals;

QString errorDescription(const std::exception& error)
{
    if (dynamic_cast<const std::bad_alloc*>(&error))
        return u"内存不足。"_s;
    return QString::fromUtf8(error.what());
}
