#include "Batch/Help.h"

#include "Batch/UsersLanguage.h"

using namespace Qt::StringLiterals;

QString helpText()
{
    static const QString chinese = uR"(用法：
  kestrel-batch detect 视频... [-o 目录]
  kestrel-batch cut 视频或列表... -o 目录
  kestrel-batch export 列表... --format 格式 [-o 目录]
  kestrel-batch status 目录 [--json]
  kestrel-batch plan 视频或列表... -o 目录 [-0]
  kestrel-batch job ...（由 plan 打印）

不开窗口，把许多视频在换场处切成片段。

  detect  检测换场，为每个视频存储一个列表 名称.kestrel.json
  cut     写出片段到 目录/视频名/；没有列表的视频先检测；再次运行只做缺少的
  export  把列表转成其他程序的格式，写到目录里或标准输出
  status  哪些已完成、失败、存疑、缺少
  plan    打印还要做的任务，每行一个命令，可以交给 parallel 或 Slurm

选项：
  -o, --output-dir 目录   写到这里；detect 和 export 可以省略
  -j, --jobs 数量         同时进行几个任务，默认 3
      --profile 策略      conservative、standard、aggressive（默认）或 extreme
      --left 秒           换场左侧多删的秒数
      --right 秒          换场右侧多删的秒数
      --skip 秒           开头不检测的秒数
      --crop 宽:高:X:Y    裁剪画面
      --prefix 文字       片段名称的前缀，默认是视频名
      --format 格式       otio、edl、scenes、csv、llc、llccsv、ffmetadata、mkvxml 或 sh
      --files0-from 文件  从文件读取名称，以 NUL 分隔；- 是标准输入
  -0, --null              plan 的任务以 NUL 结尾
  -f, --force             已完成的也重做
  -q, --quiet             标准错误上不说进展
      --json              status 打印 JSON
  -h, --help              这些说明

退出状态：0 全部正常；1 有任务失败或存疑；2 用法错误、缺少工具或什么也没有检测到。
)"_s;
    static const QString english = uR"(Usage:
  kestrel-batch detect VIDEO... [-o DIR]
  kestrel-batch cut VIDEO-or-LIST... -o DIR
  kestrel-batch export LIST... --format FORMAT [-o DIR]
  kestrel-batch status DIR [--json]
  kestrel-batch plan VIDEO-or-LIST... -o DIR [-0]
  kestrel-batch job ... (as printed by plan)

Cuts many videos into clips at their scene changes, without a window.

  detect  finds scene changes and stores one list a video, NAME.kestrel.json
  cut     writes clips to DIR/NAME/; detects where no list is given; run again,
          it does only what is missing
  export  turns lists into those of other programs, to DIR or standard output
  status  tells what is done, failed, doubtful, missing
  plan    prints what is left to do, one command a line, for parallel or Slurm

Options:
  -o, --output-dir DIR     write here; detect and export can do without
  -j, --jobs N             how many jobs at a time, 3 by default
      --profile PROFILE    conservative, standard, aggressive (default), extreme
      --left SECONDS       how much more to remove before a scene change
      --right SECONDS      how much more to remove after it
      --skip SECONDS       do not look for scene changes at the beginning
      --crop W:H:X:Y       crop the picture
      --prefix TEXT        how names of clips begin, by default as the video's
      --format FORMAT      otio, edl, scenes, csv, llc, llccsv, ffmetadata,
                           mkvxml or sh
      --files0-from FILE   read names from FILE, ended by NUL; - is standard input
  -0, --null               plan: end each job with NUL
  -f, --force              do again what is done
  -q, --quiet              no progress on standard error
      --json               status: print JSON
  -h, --help               this text

Exit status: 0 all right; 1 some job failed or is doubtful; 2 wrong usage,
missing tools, or nothing detected.
)"_s;
    return speaksChinese() ? chinese : english;
}
