#include "CutLists/ShellScript.h"

using namespace Qt::StringLiterals;

QByteArray writeShellScript(const QList<FFmpegJob>& jobs)
{
    QString text = u"#!/bin/sh\n"
                   "# 逐个写出片段；加参数 -e 时遇到失败就停下。\n"
                   "# 同时写出几个：grep '^ffmpeg ' 本文件 | parallel\n"
                   "[ \"${1:-}\" != -e ] || set -e\n"
                   "exec </dev/null\n"
                   "failed=0\n"_s;
    for (const FFmpegJob& job : jobs)
        text += job.shellCommand() + u"\n[ $? -eq 0 ] || failed=1\n"_s;
    return (text + u"exit $failed\n"_s).toUtf8();
}
