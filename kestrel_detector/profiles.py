"""The profiles: what counts as removable."""

from kestrel_detector.events import WEAK

CONFIDENT = 0.75  # the score of dissolves that the standard profile trusts
SLIVER = 0.3      # seconds; shorter segments are dropped by the extreme profile


def reported(event, profile):
    """Weak finds, and what joins no two scenes (opening and closing fades, black stretches), are for extreme alone."""
    return profile == "extreme" or not (event.edge or event.score < WEAK)


def stretch_of(event, profile, gap):
    """The limits (first, last) of an event as the profile sees them, and whether what lies between is taken out; a
    gradual event that is not taken out is only divided in its middle. `gap` is the time of one picture."""
    first, last = event.first, event.last
    if event.kind == "cut":
        return first, last, True
    if profile == "conservative" and event.kind == "fade":
        narrow = (last - first) // 6
        return first + narrow, last - narrow, True
    if profile == "extreme" and event.edge == "black":
        return first, last, True
    if profile == "extreme":
        wide = max(gap, (last - first) // 12)
        return first - wide, last + wide, True
    trusted = event.kind == "fade" or event.kind == "dissolve" and event.score >= CONFIDENT
    return first, last, profile == "aggressive" or profile == "standard" and trusted
