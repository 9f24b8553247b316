#!/usr/bin/env python3
"""Makes video clips whose transitions are known to the frame, for score.py.

    make_clips.py FOLDER [--half tune|report|lavfi...|still...] [--only TEXT]

Each clip is FOLDER/<half>/<name>.<ext> with its truth beside it in <name>.json: the list of transitions as
[kind, start, end] in seconds from the container's start, and the times at which its pure shots begin and end. Everything
follows from fixed seeds; the two halves share the kinds of clips, but neither pictures nor lengths nor speeds. A half
whose name begins with "lavfi" is drawn at random: scenes of ffmpeg's own sources and of smooth pictures that change slowly.
One whose name begins with "still" has such scenes too, but no joins at all.
"""

import argparse
import json
import math
import os
import random
import subprocess
import sys

# --- pictures: textures, shapes and objects, rendered here -----------------------------------------------------------

IMAGE_W, IMAGE_H = 240, 135
IMAGES = 36  # per half


def lattice(rng, width, height, cells):
    """Smooth noise, 0 to 1, as rows of floats."""
    columns, rows = cells, max(2, cells * height // width)
    grid = [[rng.random() for _ in range(columns + 2)] for _ in range(rows + 2)]
    out = []
    for y in range(height):
        v = y * rows / height
        j, v = int(v), v - int(v)
        v = v * v * (3 - 2 * v)
        a, b = grid[j], grid[j + 1]
        mixed = [p + (q - p) * v for p, q in zip(a, b)]
        row = []
        for x in range(width):
            u = x * columns / width
            i, u = int(u), u - int(u)
            u = u * u * (3 - 2 * u)
            row.append(mixed[i] + (mixed[i + 1] - mixed[i]) * u)
        out.append(row)
    return out


def landscape(rng, palette):
    """Two or three colours mixed by fractal noise, a hard horizon or patches, and some shapes."""
    layers = [(lattice(rng, IMAGE_W, IMAGE_H, cells), weight) for cells, weight in ((3, 0.5), (8, 0.25), (24, 0.15), (70, 0.1))]
    low, high, third = palette
    contrast = rng.uniform(1.0, 2.0)
    horizon = rng.uniform(0.3, 0.8) * IMAGE_H if rng.random() < 0.5 else None
    wave = rng.uniform(3, 15)
    pixels = []
    for y in range(IMAGE_H):
        row = []
        for x in range(IMAGE_W):
            value = sum(layer[y][x] * weight for layer, weight in layers)
            value = min(1.0, max(0.0, (value - 0.5) * contrast + 0.5))
            far = horizon is not None and y < horizon + wave * math.sin(x / 19.0)
            base, other = (third, high) if far else (low, high)
            row.append([base[c] + (other[c] - base[c]) * value for c in range(3)])
        pixels.append(row)
    for _ in range(rng.randrange(2, 9)):
        tint = [min(255, max(0, c + rng.uniform(-70, 70))) for c in rng.choice(palette)]
        cx, cy = rng.uniform(0, IMAGE_W), rng.uniform(0, IMAGE_H)
        rx, ry = rng.uniform(5, 45), rng.uniform(5, 40)
        round_one = rng.random() < 0.5
        for y in range(max(0, int(cy - ry)), min(IMAGE_H, int(cy + ry))):
            for x in range(max(0, int(cx - rx)), min(IMAGE_W, int(cx + rx))):
                if not round_one or ((x - cx) / rx) ** 2 + ((y - cy) / ry) ** 2 < 1:
                    pixels[y][x] = [0.25 * pixels[y][x][c] + 0.75 * tint[c] for c in range(3)]
    return bytes(int(min(255, max(0, c))) for row in pixels for pixel in row for c in pixel)


def random_palette(rng):
    """Three colours of one mood: dark or light, grey or vivid."""
    top = 90 if rng.random() < 0.2 else 255
    vivid = rng.choice((0.1, 0.3, 0.6, 1.0))
    palette = []
    for _ in range(3):
        grey = rng.uniform(0, top)
        palette.append([grey + vivid * (rng.uniform(0, top) - grey) for _ in range(3)])
    return palette


def write_pictures(folder, rng):
    names = []
    palette = random_palette(rng)
    for n in range(IMAGES):
        # Every third picture shares the palette of the one before: scenes of similar colour.
        palette = palette if n % 3 == 1 else random_palette(rng)
        name = os.path.join(folder, "picture%02d.ppm" % n)
        names.append(name)
        data = landscape(rng, palette)
        if not os.path.exists(name):
            with open(name, "wb") as file:
                file.write(b"P6 %d %d 255\n" % (IMAGE_W, IMAGE_H) + data)
    objects = []
    for n in range(6):  # soft-edged blobs that walk through the shots
        size = 60
        tint = [rng.uniform(40, 240) for _ in range(3)]
        body = bytearray()
        noise = lattice(rng, size, size, 6)
        for y in range(size):
            for x in range(size):
                r = math.hypot((x - 29.5) / 20, (y - 29.5) / 29)
                body += bytes(int(min(255, max(0, t * (0.6 + 0.6 * noise[y][x])))) for t in tint)
                body.append(int(255 * min(1, max(0, (1 - r) * 6))))
        name = os.path.join(folder, "object%d.pam" % n)
        objects.append(name)
        with open(name, "wb") as file:
            file.write(b"P7\nWIDTH %d\nHEIGHT %d\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n" % (size, size) + bytes(body))
    return names, objects


# --- sources: the pictures that ffmpeg makes by itself ----------------------------------------------------------------

def lavfi_source(rng, w, h, rate, last):
    """A name and ffmpeg's words for a scene of one of its sources; still ones do not come twice in a row."""
    def colour():
        return "0x%06X" % rng.randrange(1 << 24)

    seed = rng.randrange(1 << 20)
    gradients = (f"gradients=s={w}x{h}:r={rate}:seed={seed}:speed={10 ** rng.uniform(-2.7, -1):.5f}:"
                 f"nb_colors={rng.randint(2, 8)}:type={rng.choice(('linear', 'linear', 'radial', 'circular', 'spiral'))}")
    plain = f"color=c={colour()}:s={w}x{h}:r={rate}"
    a, b, c = (rng.uniform(0.02, 0.2) for _ in range(3))
    k, m = rng.uniform(0.5, 2.5), rng.uniform(0.5, 2.5)
    sources = {
        "gradients": gradients, "gradients again": gradients,
        "mandelbrot": f"mandelbrot=s={w}x{h}:r={rate}:end_scale={10 ** rng.uniform(-2, -0.5):.4f}:end_pts={rng.choice((400, 200, 100))}"
                      f":inner={rng.choice(('black', 'convergence', 'mincol', 'period'))}",
        "life": rng.choice((f"life=s={w}x{h}:r={rate}:seed={seed}",
                            f"life=s={w // 4}x{h // 4}:r={rate}:mold=10:seed={seed}:life_color={colour()}:death_color={colour()}:"
                            f"mold_color={colour()},scale={w}:{h}:flags=neighbor")),
        "cellauto": f"cellauto=s={w}x{h}:r={rate}:rule={rng.choice((18, 30, 90, 110, 22))}:seed={seed}",
        "sierpinski": f"sierpinski=s={w}x{h}:r={rate}:seed={seed}:type={rng.choice(('carpet', 'triangle'))}:jump={rng.choice((1, 10, 100))}",
        "noise": f"{plain},noise=alls={rng.choice((30, 60, 100))}:allf=t:all_seed={seed}",
        "plasma": f"nullsrc=s=64x36:r={rate},geq=lum='128+60*sin(X*{a:.3f}+T*{k:.2f})+50*cos(Y*{b:.3f}-T*{m:.2f}+X*{c:.3f})':"
                  f"cb='128+50*sin(Y*{c:.3f}+T*{k:.2f})':cr='128+50*cos(X*{b:.3f}-T*{m:.2f})',scale={w}:{h}:flags=bicubic",
        "color": plain,
    }
    for still in ("testsrc", "testsrc2", "smptebars", "smptehdbars", "pal75bars", "rgbtestsrc", "yuvtestsrc"):
        sources[still] = f"{still}=s={w}x{h}:r={rate}"
    name = rng.choice([name for name in sources if name != last])
    return name, sources[name]


# --- shots: a moving scene as a chain of ffmpeg filters ----------------------------------------------------------------

class Scene:
    """Hands out the chains of shots for one clip; inputs are collected for ffmpeg's command line."""

    def __init__(self, rng, pictures, objects, width, height, rate):
        self.rng, self.pictures, self.objects = rng, list(pictures), objects
        self.width, self.height, self.rate = width, height, rate
        rng.shuffle(self.pictures)
        self.inputs, self.next, self.parts, self.shots = [], 0, 0, []

    def add_input(self, *words):
        self.inputs.append(list(words))
        return len(self.inputs) - 1

    def label(self):
        self.parts += 1
        return "p%d" % self.parts

    def zoompan(self, zoom):
        return f"zoompan=z='{zoom}':x='iw/2-iw/zoom/2':y='ih/2-ih/zoom/2':d=1:s={self.width}x{self.height}:fps={self.rate}"

    def shot(self, frames, motion, extra=""):
        """A graph text and its output label."""
        rng, w, h, rate = self.rng, self.width, self.height, self.rate
        self.shots.append(motion)
        out = self.label()
        tail = f"fps={rate},format=yuv420p,setsar=1{',' + extra if extra else ''},trim=end_frame={frames},setpts=PTS-STARTPTS,settb=1/90000"
        if motion == "source":
            name, text = lavfi_source(rng, w, h, rate, self.shots[-2] if self.shots[1:] else "")
            self.shots[-1] = name
            return f"{text},format=yuv420p,{tail}[{out}]", out
        if motion.startswith("lavfi"):
            source = {
                "lavfi0": f"testsrc2=s={w}x{h}:r={rate}", "lavfi1": f"mandelbrot=s={w}x{h}:r={rate}:end_scale=0.05:end_pts=600",
                "lavfi2": f"life=s={w // 8}x{h // 8}:r={rate}:mold=20:ratio=0.2:seed={rng.randrange(1000)}:life_color=#C8B070:death_color=#203040:mold_color=#406020,scale={w}:{h}:flags=bilinear",
                "lavfi3": f"gradients=s={w}x{h}:r={rate}:speed=0.02:seed={rng.randrange(1000)}",
                "lavfi4": f"cellauto=s={w // 4}x{h // 4}:r={rate}:rule=110:seed={rng.randrange(1000)},scale={w}:{h}:flags=bilinear,eq=contrast=0.6",
                "lavfi5": f"sierpinski=s={w}x{h}:r={rate}:seed={rng.randrange(1000)}",
            }[motion]
            return f"{source},{tail}[{out}]", out
        picture = self.pictures[self.next % len(self.pictures)]
        self.next += 1
        number = self.add_input("-i", picture)
        big_w, big_h = int(w * 1.5) // 2 * 2, int(h * 1.5) // 2 * 2
        base = (f"[{number}:v]scale={big_w}:{big_h}:flags=bicubic,noise=alls=14:all_seed={rng.randrange(9999)},format=yuv420p,"
                f"loop=loop=-1:size=1,setpts=N/({rate})/TB,fps={rate}")
        dx, dy = big_w - w, big_h - h
        fx, fy = rng.choice((-1, 1)), rng.choice((-1, 1))
        ax, ay = rng.uniform(0.3, 0.7) * dx, rng.uniform(0.3, 0.7) * dy
        span = frames / eval(str(rate))
        if motion == "static":
            move = f"crop={w}:{h}:{ax:.0f}:{ay:.0f}"
        elif motion == "hand":
            move = (f"crop={w}:{h}:'{ax:.0f}+{0.04 * dx:.1f}*sin(2.1*t)+{0.03 * dx:.1f}*sin(5.3*t+1)':"
                    f"'{ay:.0f}+{0.05 * dy:.1f}*sin(1.7*t+2)+{0.03 * dy:.1f}*sin(4.9*t)'")
        elif motion == "pan":
            move = f"crop={w}:{h}:'{dx / 2:.0f}+{fx * 0.45 * dx:.1f}*(2*t/{span:.3f}-1)':'{dy / 2:.0f}+{fy * 0.2 * dy:.1f}*(2*t/{span:.3f}-1)'"
        elif motion == "whip":  # a quick pan in the middle of the shot
            mid = span * 0.5
            move = f"crop={w}:{h}:'{dx / 2:.0f}+{fx * 0.48 * dx:.1f}*clip((t-{mid:.3f})/0.12,-1,1)':'{dy / 2:.0f}'"
        elif motion == "zoom":
            move = self.zoompan(f"1+{rng.uniform(0.2, 0.5):.3f}*on/{frames}")
        elif motion == "crashzoom":
            mid = span * 0.5
            move = self.zoompan(f"1+0.8*clip((on/({rate})-{mid:.3f})/0.35,0,1)")
        elif motion == "easepan":  # rest, move, rest
            turn = f"(3*pow(clip(t-{span * 0.3:.3f},0,1),2)-2*pow(clip(t-{span * 0.3:.3f},0,1),3))"
            move = f"crop={w}:{h}:'{dx * 0.1:.0f}+{dx * 0.8:.0f}*{turn}':'{dy * 0.5:.0f}',eq=brightness='0.1*sin(0.9*t)':eval=frame"
        elif motion in SMOOTH:  # a soft picture that changes slowly all over
            blur = f"gblur={rng.uniform(0.03, 0.12) * w:.1f}:4"
            where = f"crop={w}:{h}:{ax:.0f}:{ay:.0f}"
            part, turn, beat = f"min(t/{span:.3f},1)", rng.choice((-1, 1)), rng.uniform(0.6, 1.6)
            move = {
                "soft pan": f"{blur},crop={w}:{h}:'{dx / 2:.0f}+{fx * 0.48 * dx:.1f}*(2*{part}-1)':'{dy / 2:.0f}+{fy * 0.4 * dy:.1f}*(2*{part}-1)'",
                "soft zoom": f"{blur}," + self.zoompan(f"1+{rng.uniform(0.3, 0.9):.3f}*on/{frames}"),
                "soft turn": f"{blur},rotate='{turn * rng.uniform(0.1, 0.5):.2f}*t',{where}",
                "sunset": f"{where},eq=brightness='{turn * 0.25:.2f}*({part}-0.5)':contrast='1-0.4*{part}':saturation='1+{0.8 * turn:.1f}*({part}-0.5)':"
                          f"eval=frame,hue=h='{turn * rng.uniform(10, 50):.0f}*{part}'",
                "light": f"{where},eq=brightness='0.12*sin({beat:.2f}*t)':gamma='1+0.4*sin({beat * 0.7:.2f}*t)':eval=frame",
            }[motion]
        elif motion == "fog":  # drifts over the scene and clears again
            a, b, c = self.label(), self.label(), self.label()
            deep = rng.uniform(0.4, 0.75)
            return (f"{base},crop={w}:{h}:{ax:.0f}:{ay:.0f}[{a}];color=0xC0C4C8:s={w}x{h}:r={rate},format=yuv420p[{b}];"
                    f"[{a}][{b}]blend=all_expr='A+(B-A)*{deep:.2f}*pow(sin({rng.uniform(0.5, 1.2):.2f}*T),2)'[{c}];[{c}]{tail}[{out}]"), out
        elif motion == "water":  # two layers that drift through each other
            other = self.add_input("-i", self.pictures[(self.next + 5) % len(self.pictures)])
            a, b = self.label(), self.label()
            return (f"{base},crop={w}:{h}:'{dx}*abs(mod({rng.uniform(0.2, 0.4):.2f}*t,2)-1)':{ay:.0f}[{a}];"
                    f"[{other}:v]scale={big_w}:{big_h},format=yuv420p,loop=loop=-1:size=1,setpts=N/({rate})/TB,fps={rate},"
                    f"crop={w}:{h}:'{dx}-{dx}*abs(mod({rng.uniform(0.1, 0.3):.2f}*t,2)-1)':{ay:.0f}[{b}];"
                    f"[{a}][{b}]blend=all_mode=average,{tail}[{out}]"), out
        elif motion == "focus":  # the lens hunts
            a, b, c = self.label(), self.label(), self.label()
            return (f"{base},crop={w}:{h}:{ax:.0f}:{ay:.0f},split[{a}][{b}];[{b}]gblur=14[{c}];"
                    f"[{a}][{c}]blend=all_expr='A+(B-A)*(0.5+0.5*sin(2.5*T))',{tail}[{out}]"), out
        elif motion == "action":  # two large things cross quickly in front of a shaking camera
            one, two = self.add_input("-i", rng.choice(self.objects)), self.add_input("-i", rng.choice(self.objects))
            a, b, c, d = self.label(), self.label(), self.label(), self.label()
            return (f"{base},crop={w}:{h}:'{ax:.0f}+{0.1 * dx:.1f}*sin(9*t)+{0.05 * dx:.1f}*sin(23*t)':'{ay:.0f}+{0.1 * dy:.1f}*sin(11*t)'[{a}];"
                    f"[{one}:v]scale={int(h * 0.9)}:{int(h * 0.9)}[{b}];[{two}:v]scale={int(h * 0.6)}:{int(h * 0.6)}[{c}];"
                    f"[{a}][{b}]overlay=x='mod({rng.uniform(0.6, 1.3) * w:.0f}*t,{w * 1.6:.0f})-{h * 0.9:.0f}':y={h * 0.1:.0f}:eval=frame[{d}];"
                    f"[{d}][{c}]overlay=x='{w}-mod({rng.uniform(0.5, 1.0) * w:.0f}*t,{w * 1.5:.0f})':y='{h * 0.3:.0f}+{h * 0.2:.0f}*sin(5*t)':eval=frame,{tail}[{out}]"), out
        elif motion == "walk":  # a still camera and something large that walks through
            thing = self.add_input("-i", rng.choice(self.objects))
            side = int(h * rng.uniform(0.5, 0.95)) // 2 * 2
            speed = rng.uniform(0.15, 0.5) * w
            start = -side if fx > 0 else w
            a, b = self.label(), self.label()
            return (f"{base},crop={w}:{h}:{ax:.0f}:{ay:.0f}[{a}];[{thing}:v]scale={side}:{side}[{b}];"
                    f"[{a}][{b}]overlay=x='{start}+{fx * speed:.1f}*t':y='{h - side * 0.9:.0f}+{h * 0.03:.1f}*sin(6*t)':eval=frame,{tail}[{out}]"), out
        else:
            raise ValueError(motion)
        return f"{base},{move},{tail}[{out}]", out


SMOOTH = ("soft pan", "soft zoom", "soft turn", "sunset", "light")
MOTIONS = ("static", "hand", "pan", "zoom", "walk", "hand", "pan")
XFADE_WIPES = ("wipeleft", "wiperight", "wipeup", "wipedown", "circleopen", "circleclose", "slideleft", "slideright",
               "slideup", "slidedown", "radial", "diagtl", "horzopen", "vertclose", "rectcrop", "smoothleft", "wipetl")


# Joins that are given by the name of ffmpeg's transition, and what they are; all others are wipes.
MODES = {"fadeblack": "fade", "fadewhite": "fade", "dissolve": "dissolve", "pixelize": "dissolve", "hblur": "dissolve",
         "distance": "dissolve", "fadegrays": "dissolve", "fade": "dissolve"}

# The part of the nominal length in which these really change the picture.
VISIBLE = {"circleopen": (1 / 6, 5 / 6), "circleclose": (1 / 6, 5 / 6), "radial": (0.1, 1)}


class Clip:
    """One clip: what joins its shots, and how the result is treated and stored."""

    scene = Scene  # what draws the shots

    def __init__(self, name, joins, rate="25", size=(512, 288), shot=(1.6, 3.2), motions=MOTIONS, effects=(), post="",
                 encode=("-c:v", "libx264", "-preset", "veryfast", "-crf", "23"), ext="mp4", output=(), length=(0.4, 1.6),
                 sound=False, late=0.0, opening=False):
        self.name, self.joins, self.rate, self.size, self.shot_range = name, joins, rate, size, shot
        self.motions, self.effects, self.post, self.encode, self.ext = motions, effects, post, encode, ext
        self.output, self.length, self.sound, self.late, self.opening = output, length, sound, late, opening


def compose(clip, rng, pictures, objects):
    """The filter graph of a clip, its inputs, and its truth in frames."""
    rate = eval(clip.rate)
    w, h = clip.size
    scene = clip.scene(rng, pictures, objects, w, h, clip.rate)
    wipes = list(XFADE_WIPES)
    rng.shuffle(wipes)
    count = len(clip.joins) + 1
    plan = []
    for kind in clip.joins:
        length = max(4, round(rng.uniform(*clip.length) * rate))
        hold = round(rng.choice((0, 0.1, 0.4)) * rate) if kind in ("black", "white", "blue") else 0
        plan.append((kind, length, hold))
    graph, truth = [], []
    shots = []
    for n in range(count):
        frames = round(rng.uniform(*clip.shot_range) * rate)
        extra = []
        head = plan[n - 1] if n else None
        tail = plan[n] if n < count - 1 else None
        for side in (head, tail):  # what a transition uses up does not shorten the shot
            if side and side[0] not in ("cut", "black", "white", "blue"):
                frames += side[1]
            elif side and side[0] in ("black", "white", "blue"):
                frames += side[1] // 2
        effect = clip.effects[n % len(clip.effects)] if clip.effects else ""
        if effect:
            extra.append(effect.format(a=frames // 2, b=frames // 2 + 2, c=frames * 3 // 4, t=frames / 2 / rate, w=w, h=h))
        if tail and tail[0] in ("black", "white", "blue"):
            extra.append(f"fade=out:{frames - tail[1] // 2}:{tail[1] // 2}:color={tail[0]}")
        if head and head[0] in ("black", "white", "blue"):
            extra.append(f"fade=in:0:{head[1] // 2}:color={head[0]}")
        text, label = scene.shot(frames, clip.motions[(n + rng.randrange(2)) % len(clip.motions)], ",".join(extra))
        graph.append(text)
        shots.append((label, frames))
    label, frames = shots[0]
    for n, (kind, length, hold) in enumerate(plan):
        other, other_frames = shots[n + 1]
        joined = scene.label()
        if kind == "cut":
            graph.append(f"[{label}][{other}]concat=n=2:v=1,fps={clip.rate},settb=1/90000[{joined}]")
            truth.append(["cut", frames, frames])
            frames += other_frames
        elif kind in ("black", "white", "blue"):
            half = length // 2
            if hold:
                gap = scene.label()
                graph.append(f"color={kind}:s={w}x{h}:r={clip.rate},format=yuv420p,setsar=1,trim=end_frame={hold},settb=1/90000[{gap}]")
                graph.append(f"[{label}][{gap}][{other}]concat=n=3:v=1,fps={clip.rate},settb=1/90000[{joined}]")
            else:
                graph.append(f"[{label}][{other}]concat=n=2:v=1,fps={clip.rate},settb=1/90000[{joined}]")
            truth.append(["fade", frames - half, frames + hold + half])
            frames += hold + other_frames
        else:
            if kind.startswith("xfade "):
                mode = kind.split()[1]
                kind = MODES.get(mode, "wipe")
            else:
                mode = "fade" if kind == "dissolve" else wipes[n % len(wipes)]
            offset = frames - length
            graph.append(f"[{label}][{other}]xfade={mode}:duration={length / rate:.6f}:offset={offset / rate:.6f},fps={clip.rate},"
                         f"tpad=stop=2:stop_mode=clone,trim=end_frame={offset + other_frames},settb=1/90000[{joined}]")  # xfade loses the last one
            start, end = VISIBLE.get(mode, (0, 1))
            truth.append([kind, offset + 1 + int(start * length), offset + math.ceil(end * length), mode])
            frames += other_frames - length
        label = joined
    post = f"[{label}]{clip.post or 'null'}[out]"
    graph.append(post)
    return scene, ";".join(graph), truth, frames


def make(clip, folder, rng, pictures, objects):
    rate = eval(clip.rate)
    target = os.path.join(folder, clip.name + "." + clip.ext)
    scene, graph, truth, frames = compose(clip, rng, pictures, objects)
    truth_file = os.path.join(folder, clip.name + ".json")
    if os.path.exists(truth_file):
        return
    words = ["ffmpeg", "-y", "-v", "error", "-nostdin"]
    for number in scene.inputs:
        words += number
    mapping = ["-map", "[out]"]
    if clip.sound:
        words += ["-f", "lavfi", "-i", "sine=f=300:r=44100"]
        mapping += ["-map", "%d:a" % len(scene.inputs), "-c:a", "aac" if clip.ext != "ts" else "mp2"]
    words += ["-filter_complex", graph] + mapping + ["-t", "%.4f" % (frames / rate)]
    words += list(clip.encode) + ["-pix_fmt", "yuv420p"] + list(clip.output) + [target]
    done = subprocess.run(words, stderr=subprocess.PIPE)
    if done.returncode or not os.path.getsize(target):
        sys.exit("ffmpeg failed for %s: %s\n%s" % (clip.name, done.stderr.decode()[-800:], graph))
    # What was written says when its pictures are; the container's start is the origin.
    probe = json.loads(subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v:0", "-show_entries", "format=start_time,duration:packet=pts_time", "-of", "json", target],
        stdout=subprocess.PIPE, check=True).stdout)
    origin = float(probe["format"].get("start_time", 0))
    times = sorted(round(float(p["pts_time"]) - origin, 6) for p in probe["packets"] if "pts_time" in p)
    first = times[0]
    def moment(frame):
        wanted = first + frame / rate
        return round(next((t for t in times if t > wanted - 0.5 / rate), times[-1]), 6)
    events = [[kind, moment(start), moment(end)] + rest for kind, start, end, *rest in truth]
    with open(truth_file, "w") as file:
        json.dump({"file": os.path.basename(target), "rate": rate, "duration": float(probe["format"]["duration"]),
                   "events": events, "times": times, "shots": scene.shots}, file)


# --- the clips ------------------------------------------------------------------------------------------------------

LOW = ("-c:v", "libx264", "-preset", "veryfast", "-b:v", "110k", "-maxrate", "150k", "-bufsize", "150k")
FLASH = "lutyuv=y='clip(val+130,16,235)':enable='between(n,{a},{b})'"
FLASH2 = "lutyuv=y=235:u=128:v=128:enable='between(n,{a},{b})'"
STROBE = "lutyuv=y='clip(val*1.9,16,235)':enable='lt(mod(n,9),2)'"
FLICKER = "eq=brightness='0.09*sin(n*1.9)+0.05*sin(n*0.7)':eval=frame"
LIGHTS = "eq=brightness='-0.25*gt(n,{a})':contrast='1-0.3*gt(n,{a})':eval=frame"
GRAIN = "noise=alls=28:allf=t"
CAPTION = "drawtext=text='A line of text':fontsize={h}/9:fontcolor=white:box=1:boxcolor=black@0.7:x=(w-tw)/2:y=h*0.8:enable='between(n,{a},{c})'"
LOGO = "drawbox=x=iw*0.85:y=ih*0.06:w=iw*0.1:h=ih*0.12:color=white@0.9:t=fill"


XFADES = ("fade",) * 6 + ("fadeblack", "fadewhite", "dissolve", "pixelize", "hblur", "distance", "fadegrays",
          "wipeleft", "wiperight", "wipeup", "wipedown", "slideleft", "slideright", "slideup", "slidedown", "smoothleft",
          "smoothright", "smoothup", "smoothdown", "circleopen", "circleclose", "rectcrop", "radial", "diagtl", "horzopen", "vertclose", "wipebr")


def lavfi_clips(half, number=60):
    """Clips of which nothing is chosen: any sources, joins, rates and sizes."""
    rng = random.Random("plan " + half)
    for n in range(number):
        joins = [rng.choice(("cut", "black", "white", "xfade", "xfade", "xfade")) for _ in range(rng.randint(5, 8))]
        joins = ["xfade " + rng.choice(XFADES) if join == "xfade" else join for join in joins]
        motions = ("source",) * 8 if n % 4 else ("source", *SMOOTH, "fog", "focus")
        motions = list(motions)
        rng.shuffle(motions)
        yield Clip("lavfi-%02d" % n, joins, rate=rng.choice(("24000/1001", "24", "25", "30000/1001", "30", "50", "60")),
                   size=rng.choice(((320, 180), (480, 270), (640, 360), (320, 240), (360, 640))), shot=(1.5, 6), length=(0.3, 2),
                   motions=motions)


def still_clips(half, number=150):
    """Single shots of pictures that change by themselves: whatever is reported here is wrong."""
    rng = random.Random("plan " + half)
    for n in range(number):
        motion = "source" if n % 3 else rng.choice((*SMOOTH, "fog", "focus", "water"))
        yield Clip("still-%03d" % n, [], rate=rng.choice(("24", "25", "30000/1001", "30", "50")),
                   size=rng.choice(((320, 180), (320, 240), (180, 320))), shot=(6, 10), motions=(motion,))


def clips(half):
    """The list of clips. Rates, lengths and join orders differ between the halves."""
    t = half.startswith("tune")
    rng = random.Random("plan " + half)

    def joins(*kinds, n=8):
        return [rng.choice(kinds) for _ in range(n)]

    yield Clip("cuts-a", ["cut"] * 10, rate="24000/1001" if t else "25")
    yield Clip("cuts-b", ["cut"] * 10, rate="60" if t else "50", size=(640, 360))
    yield Clip("cuts-c", ["cut"] * 10, rate="30000/1001" if t else "24", motions=("walk", "lavfi0", "hand", "lavfi1", "pan"))
    yield Clip("cuts-d", ["cut"] * 10, rate="30" if t else "60000/1001", motions=("lavfi2", "zoom", "lavfi3", "walk", "lavfi4", "lavfi5"))
    yield Clip("cuts-dark", ["cut"] * 8, post="eq=brightness=-0.28:contrast=0.5")
    yield Clip("cuts-grain", ["cut"] * 8, post=GRAIN, rate="24")
    yield Clip("cuts-hd", ["cut"] * 5 + ["black", "dissolve"], size=(1920, 1080), rate="30")
    yield Clip("fades-black", ["black"] * 7, rate="25" if t else "30")
    yield Clip("fades-black-60", ["black"] * 6, rate="60", length=(0.3, 2.4))
    yield Clip("fades-white", ["white"] * 6, rate="24" if t else "25")
    yield Clip("fades-blue", joins("blue", "black", "white", n=6), rate="50")
    yield Clip("dissolves-still", ["dissolve"] * 7, motions=("static", "static", "walk"))
    yield Clip("dissolves-a", ["dissolve"] * 7, rate="30")
    yield Clip("dissolves-b", ["dissolve"] * 7, rate="24000/1001" if t else "50", length=(0.3, 2.0))
    yield Clip("dissolves-moving", ["dissolve"] * 7, motions=("pan", "zoom", "walk"), shot=(1.8, 3.0))
    yield Clip("dissolves-long", ["dissolve"] * 5, length=(1.8, 3.0), motions=("hand", "pan", "static"), shot=(2.5, 4))
    yield Clip("wipes-still", ["wipe"] * 8, motions=("static", "walk"))
    yield Clip("wipes-a", ["wipe"] * 8, rate="30")
    yield Clip("wipes-b", ["wipe"] * 8, rate="60" if t else "24", motions=("pan", "hand"))
    yield Clip("mixed-a", joins("cut", "black", "dissolve", "wipe", n=10))
    yield Clip("mixed-b", joins("cut", "white", "dissolve", "wipe", "black", n=10), rate="30000/1001")
    yield Clip("mixed-letterbox", joins("cut", "black", "dissolve", "wipe", n=8), size=(512, 208), post="pad=512:288:0:40")
    yield Clip("mixed-portrait", joins("cut", "black", "dissolve", "wipe", n=8), size=(270, 480), rate="30")
    yield Clip("mixed-pillar", joins("cut", "black", "dissolve", n=8), size=(384, 288), post="pad=512:288:64:0")
    yield Clip("mixed-vfr", joins("cut", "black", "dissolve", n=9), rate="30", output=("-vsync", "passthrough"),
               post="select='not(eq(mod(n\\,7)\\,3))*not(eq(mod(n\\,%d)\\,5))'" % (11 if t else 13))
    yield Clip("mixed-ts", joins("cut", "black", "dissolve", "wipe", n=8), ext="ts", sound=True,
               encode=("-c:v", "mpeg2video", "-b:v", "2M", "-bf", "2"), output=("-output_ts_offset", "37.5"))
    yield Clip("mixed-mkv", joins("cut", "black", "dissolve", n=8), ext="mkv", sound=True, rate="24000/1001")
    yield Clip("mixed-low", joins("cut", "cut", "black", "dissolve", "wipe", n=10), encode=LOW)
    yield Clip("cuts-low", ["cut"] * 10, encode=LOW, rate="30")
    yield Clip("cuts-mpeg4", ["cut"] * 8, encode=("-c:v", "mpeg4", "-b:v", "400k"), ext="avi")
    yield Clip("mixed-captions", joins("cut", "dissolve", "black", n=8), effects=(CAPTION,), shot=(2.4, 4.0))
    yield Clip("mixed-logo", joins("cut", "dissolve", "black", "wipe", n=8), post=LOGO)
    yield Clip("mixed-grain", joins("cut", "dissolve", "black", n=8), post=GRAIN)
    yield Clip("mixed-dark", joins("cut", "dissolve", "black", n=8), post="eq=brightness=-0.25:contrast=0.55")
    life = ("action", "easepan", "water", "focus", "walk", "hand")
    yield Clip("life-a", joins("cut", n=9), motions=life, shot=(2.5, 4.5), rate="24000/1001" if t else "30")
    yield Clip("life-b", joins("cut", "cut", "dissolve", "black", n=9), motions=life, shot=(2.5, 4.5), post="noise=alls=12:allf=t")
    yield Clip("life-low", joins("cut", "cut", "dissolve", "black", n=9), motions=life, shot=(2.5, 4.5), encode=LOW, rate="30")
    yield Clip("life-quick", ["cut"] * 14, motions=("action", "hand", "easepan"), shot=(0.7, 1.8), rate="50")
    yield Clip("montage-a", ["cut"] * 30, shot=(0.2, 0.5), rate="25" if t else "30")
    yield Clip("montage-b", ["cut"] * 30, shot=(0.25, 0.6), rate="50" if t else "24", motions=("hand", "pan", "zoom"))
    for n, (name, effect) in enumerate((("flash", FLASH), ("flash-white", FLASH2), ("strobe", STROBE), ("flicker", FLICKER), ("lights", LIGHTS))):
        yield Clip("trap-" + name, ["cut"] * 4, effects=(effect,), rate=("25", "30", "24", "50", "25")[n], shot=(2.5, 4.0))
    yield Clip("trap-whip", ["cut"] * 4, motions=("whip",), shot=(2.5, 4.0))
    yield Clip("trap-zoom", ["cut"] * 4, motions=("crashzoom",), shot=(2.5, 4.0))
    yield Clip("trap-pan", [], motions=("pan",), shot=(1.5, 1.5))
    yield Clip("trap-inset", ["cut"] * 3, shot=(3.0, 4.0),
               effects=("drawbox=x=iw*0.55:y=ih*0.08:w=iw*0.4:h=ih*0.4:color=0x4060C0:t=fill:enable='between(n,{a},{c})'",))
    yield Clip("trap-lavfi", ["cut"] * 5, motions=("lavfi0", "lavfi1", "lavfi2", "lavfi3", "lavfi4", "lavfi5"), shot=(2.5, 4))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--half", action="append", help="tune, report, or any other word for yet another set; lavfi...: at random; still...: no joins")
    parser.add_argument("--only", default="")
    options = parser.parse_args()
    for half in options.half or ("tune", "report"):
        folder = os.path.join(options.folder, half)
        os.makedirs(folder, exist_ok=True)
        pictures, objects = write_pictures(folder, random.Random("pictures " + half))
        plan = lavfi_clips if half.startswith("lavfi") else still_clips if half.startswith("still") else clips
        for clip in plan(half):
            if options.only in clip.name:
                make(clip, folder, random.Random(half + clip.name), pictures, objects)
                print(half, clip.name, flush=True)


if __name__ == "__main__":
    main()
