"""The times of the pictures: strictly rising, and how many there are in a second."""


def regular_times(batches):
    """Makes timestamps strictly rising and fills missing ones: damaged and joined files have such faults."""
    last, step, shift = None, 40_000, 0
    for stamps, pictures in batches:
        times = []
        for stamp in stamps:
            if stamp is None:
                stamp = 0 if last is None else last + step
            elif last is not None:
                stamp += shift
                if stamp < last - 1_000_000:  # the timestamps begin anew
                    shift += last + step - stamp
                    stamp = last + step
                elif stamp <= last:
                    stamp = last + 1
                elif stamp - last < 1_000_000:
                    step = stamp - last
            last = stamp
            times.append(last)
        yield times, pictures


def usual_gap(times):
    gaps = sorted(times[i + 1] - times[i] for i in range(0, len(times) - 1, max(1, len(times) // 2000)))
    return gaps[len(gaps) // 2] if gaps else 40_000


def fps_of(times):
    if len(times) < 2:
        return 25.0
    gap = usual_gap(times)
    steady = [g for g in (times[i + 1] - times[i] for i in range(min(len(times) - 1, 5000))) if abs(g - gap) < gap / 4]
    return round(1e6 * len(steady) / sum(steady), 3)
