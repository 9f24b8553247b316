#include "Frames/FrameWords.h"

using namespace Qt::StringLiterals;

using Role = PlannedFrame::Role;

QString captionOf(Role role)
{
    switch (role) {
    case Role::lastKeptBefore:
        return u"之前最后保留"_s;
    case Role::firstOfTransition:
        return u"换场首帧"_s;
    case Role::middleOfTransition:
        return u"换场中间"_s;
    case Role::lastOfTransition:
        return u"换场末帧"_s;
    case Role::firstKeptAfter:
        return u"之后首个保留"_s;
    case Role::lastButOneBeforeCut:
        return u"换场前倒数第二帧"_s;
    case Role::lastBeforeCut:
        return u"换场前最后一帧"_s;
    case Role::firstAfterCut:
        return u"换场后第一帧"_s;
    case Role::secondAfterCut:
        return u"换场后第二帧"_s;
    case Role::beforeStart:
    case Role::afterEnd:
        return u"片段外"_s;
    case Role::firstInside:
        return u"第一帧"_s;
    case Role::secondInside:
        return u"第二帧"_s;
    case Role::lastButOneInside:
        return u"倒数第二帧"_s;
    case Role::lastInside:
        return u"最后一帧"_s;
    case Role::twoBeforePlace:
        return u"前二帧"_s;
    case Role::oneBeforePlace:
        return u"前一帧"_s;
    case Role::atPlace:
        return u"可在此切开"_s;
    case Role::oneAfterPlace:
        return u"后一帧"_s;
    case Role::twoAfterPlace:
        return u"后二帧"_s;
    }
    Q_UNREACHABLE();
}

QString absenceText(Role role, bool isBeyondEnd)
{
    switch (role) {
    case Role::lastKeptBefore:
        return u"之前没有保留的画面"_s;
    case Role::firstKeptAfter:
        return u"之后没有保留的画面"_s;
    case Role::beforeStart:
    case Role::twoBeforePlace:
    case Role::oneBeforePlace:
        return u"视频开头"_s;
    case Role::afterEnd:
    case Role::atPlace:
    case Role::oneAfterPlace:
    case Role::twoAfterPlace:
        return u"视频末尾"_s;
    case Role::lastButOneBeforeCut:
    case Role::lastBeforeCut:
        return u"之前没有画面"_s;
    case Role::firstAfterCut:
    case Role::secondAfterCut:
        return isBeyondEnd ? u"超出视频末尾"_s : u"之后没有画面"_s;
    case Role::firstOfTransition:
    case Role::middleOfTransition:
    case Role::lastOfTransition:
        return u"超出视频末尾"_s;
    case Role::firstInside:
    case Role::secondInside:
    case Role::lastButOneInside:
    case Role::lastInside:
        return isBeyondEnd ? u"超出视频末尾"_s : u"片段里没有这一帧"_s;
    }
    Q_UNREACHABLE();
}
