"""What was found."""

WEAK = 0.5  # the score below which a find is only good enough for the extreme profile


class Event:
    """A transition, times in microseconds. `first` is the first picture that is not purely the old scene, `last` the
    first purely new one; for a plain cut both are the first new picture. `edge` tells what joins no two scenes: the
    "opening" and "closing" fades, and "black" stretches between cuts."""

    def __init__(self, kind, first, last, score, source, edge=""):
        self.kind, self.first, self.last, self.score, self.source, self.edge = kind, first, last, score, source, edge


def overlaps(event, others):
    return any(other.first < event.last and other.last > event.first for other in others)
