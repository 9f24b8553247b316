#include "Models/CropParameters.h"

using namespace Qt::StringLiterals;

QString CropParameters::filterExpression() const
{
    return u"crop=%1:%2:%3:%4"_s.arg(width).arg(height).arg(x).arg(y);
}
