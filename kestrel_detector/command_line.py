"""The words on the command line."""

from kestrel_detector.messages import Failure, printable

PROFILES = ("conservative", "standard", "aggressive", "extreme")
USAGE = """用法：detect_scene_changes.py 视频 [选项]
  --skip-start-seconds 秒           跳过开头
  --fade-removal-profile 策略       conservative、standard、aggressive（默认）或 extreme
  --fade-left-padding-seconds 秒    渐变之前多去掉的时间（默认 0.12）
  --fade-right-padding-seconds 秒   渐变之后多去掉的时间（默认 0.24）
  --json                            输出 JSON（默认输出便于阅读的列表）
  --no-cache                        不使用缓存"""


class Options:
    def __init__(self, words):
        self.video = None
        self.skip_start_seconds = 0.0
        self.fade_removal_profile = "aggressive"
        self.fade_left_padding_seconds, self.fade_right_padding_seconds = 0.12, 0.24
        self.json = self.no_cache = False
        words = list(words)
        if words and not words[0].startswith("--"):
            self.video = words.pop(0)  # the first word is the video, also when it begins with a dash
        while words:
            self.take(words.pop(0), words)
        if self.video is None:
            raise Failure("没有指定视频文件。")

    def take(self, word, rest):
        name, given, value = word.partition("=")
        field = name[2:].replace("-", "_")
        if name in ("--json", "--no-cache") and not given:
            setattr(self, field, True)
        elif name in ("--skip-start-seconds", "--fade-left-padding-seconds", "--fade-right-padding-seconds"):
            setattr(self, field, seconds(name, value if given else self.value(name, rest)))
        elif name == "--fade-removal-profile":
            self.fade_removal_profile = value if given else self.value(name, rest)
            if self.fade_removal_profile not in PROFILES:
                raise Failure("不认识的策略：" + printable(self.fade_removal_profile))
        elif self.video is None and not word.startswith("--"):
            self.video = word
        else:
            raise Failure("不认识的参数：" + printable(word))

    @staticmethod
    def value(name, rest):
        if not rest:
            raise Failure("参数 " + name + " 缺少值。")
        return rest.pop(0)


def seconds(name, text):
    """A number of seconds, not negative and not absurdly large."""
    try:
        value = float(text)
    except ValueError:
        value = float("nan")
    if value != value:
        raise Failure("参数 " + name + " 不是秒数：" + printable(text))
    return min(max(0.0, value), 1e9)
