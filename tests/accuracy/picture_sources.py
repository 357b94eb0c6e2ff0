"""Moving pictures from which clips are made: a camera that glides over painted leaves.

Leaves of all sizes that cover each other have edges, flat places and fine detail as photographs have.
The camera goes round on an ellipse, so that no two pictures are alike and none stands still. Where it is
at each picture is an expression of the picture's number: what is shown when is known to the picture.
"""

import dataclasses
import math
import os
import random
import re
import threading

from recipe import BITEXACT, ffmpeg

WIDTH, HEIGHT = 2048, 1400  # of a painting
LEAVES, SMALLEST, LARGEST = 4000, 9, 330
REACH = 64


def shade(colour, by):
    return bytes(min(255, max(0, round(part + by))) for part in colour)


def painted(seed):
    """A painting as PPM; the numbers of its radii fall with their cubes, as in photographs."""
    dice = random.Random(seed)
    middle = [dice.uniform(60, 170) for _ in range(3)]
    spread = dice.uniform(35, 60)
    # One side of it is in the light.
    turned, contrast = dice.uniform(0, 2 * math.pi), dice.uniform(30, 60)
    data = bytearray(bytes(round(part) for part in middle) * (WIDTH * HEIGHT))
    for _ in range(LEAVES):
        radius = SMALLEST / math.sqrt(1 - dice.random() * (1 - (SMALLEST / LARGEST) ** 2))
        across, down = dice.uniform(0, WIDTH), dice.uniform(0, HEIGHT)
        light = dice.gauss(0, spread) + contrast * (
            math.cos(turned) * (2 * across / WIDTH - 1) + math.sin(turned) * (2 * down / HEIGHT - 1))
        colour = [part + light + dice.gauss(0, spread / 3) for part in middle]
        round_one, slope = dice.random() < 0.6, dice.uniform(-0.8, 0.8)
        for row in range(max(0, int(down - radius)), min(HEIGHT, int(down + radius))):
            high = (row - down) / radius
            half = radius * math.sqrt(max(0, 1 - high * high)) if round_one else 0.7 * radius
            centre = across if round_one else across + slope * (row - down)
            begin, end = max(0, int(centre - half)), min(WIDTH, int(centre + half))
            if begin < end:
                place = 3 * (row * WIDTH + begin)
                data[place:place + 3 * (end - begin)] = shade(colour, 18 * high) * (end - begin)
    return b"P6 %d %d 255\n" % (WIDTH, HEIGHT) + data


def lettered(seed):
    """A page as PPM: words of letters that are strokes, as titles have them."""
    dice = random.Random(seed)
    rows = [bytearray(b"\x10" * WIDTH) for _ in range(HEIGHT)]
    for top in range(20, HEIGHT - 90, 90):
        left = dice.randrange(300, 600)
        while left < WIDTH - 600:
            if dice.random() < 0.2:
                left += 40
                continue
            for _ in range(3):
                upright = dice.random() < 0.6
                across, down = left + dice.randrange(24), top + dice.randrange(30)
                wide, high = (7, 28 + dice.randrange(20)) if upright else (26, 7)
                for row in range(down, down + high):
                    rows[row][across:across + wide] = b"\xe6" * wide
            left += 44
    return b"P6 %d %d 255\n" % (WIDTH, HEIGHT) + b"".join(
        bytes(part for part in row for _ in range(3)) for row in rows)


def painting(folder, shot):
    """The path of a shot's painting, which is made once."""
    make, name = (lettered, "page") if shot.page else (painted, "painting")
    path = folder / ".made" / f"{name}-{shot.seed}.ppm"
    if not path.exists():
        written = path.with_name(f"{path.name}.{threading.get_ident()}")
        written.write_bytes(make(shot.seed))
        os.replace(written, path)
    return path


@dataclasses.dataclass
class Shot:
    """A camera over a painting, with a thing that crosses the picture.

    `pictures` are counted at the rate of the source: fields, where fields are made of it. The radii
    of the camera's way are in pixels. `clock` gives the seconds at picture `n`. `look` are filters of the
    painting, `grain` is that of each picture.
    """

    seed: int
    pictures: int
    across: float = 150
    down: float = 55
    turn: float = 5.0
    angle: float = 0.7
    thing: bool = True
    clock: str = ""
    look: str = "null"
    grain: float = 3
    way: tuple = ()  # instead of the ellipse: expressions of the seconds T, in pixels
    fine: bool = False  # moves by parts of a pixel, about the middle and no further than `REACH`
    closer: str = "0"  # how much of the picture each edge loses by a zoom, where it is fine
    page: bool = False  # over a page of lettering, light on black, instead of a painting

    def chain(self, number, size, rate):
        """The filters from input `number` to [shot`number`]."""
        width, height = size
        zoom = 2 if width <= 720 else 1
        seconds = self.clock or f"n/({rate})"
        turned = f"2*PI*({seconds})/{self.turn}+{self.angle}"
        left, top = (WIDTH - zoom * width) / 2, (HEIGHT - zoom * height) / 2
        if self.way:
            x, y = (f"{start}+{zoom}*({one.replace('T', f'({seconds})')})"
                    for start, one in zip((left, top), self.way))
        else:
            x = f"{left}+{zoom * self.across}*cos({turned})"
            y = f"{top}+{zoom * self.down}*sin({turned})"
        if self.fine:
            x, y = (f"{zoom}*({one.replace('T', f'({seconds})')})" for one in self.way)
        # It stays in the picture and never stands still.
        thing_x = f"(main_w-overlay_w)*(0.5+0.4*sin(2*PI*({seconds})/3.1+{self.angle}))"
        thing_y = f"(main_h-overlay_h)*(0.55+0.3*cos(2*PI*({seconds})/3.1+{self.angle}))"
        still = f"noise=alls=10:all_seed={self.seed}"
        again = f"loop=loop=-1:size=1:start=0,setpts=N/({rate})/TB"
        steps = [f"[{number}:v]format=yuv444p,{still},{self.look}"]
        window = f"crop={zoom * width}:{zoom * height}:x='{x}':y='{y}':exact=1"
        if self.fine:
            # The filter calls the number of the picture another name.
            x, y, in_by = (re.sub(r"\bn\b", "on", one) for one in (x, y, self.closer))
            corners = ":".join(f"x{corner}='{x}+W*{'(1-' if corner % 2 else '('}({in_by}))':"
                               f"y{corner}='{y}+H*{'(1-' if corner > 1 else '('}({in_by}))'"
                               for corner in range(4))
            steps[0] += (f",crop={zoom * width + 2 * REACH}:{zoom * height + 2 * REACH}:{left - REACH}:{top - REACH}")
            window = (f"perspective={corners}:interpolation=cubic:eval=frame,"
                      f"crop={zoom * width}:{zoom * height}:{REACH}:{REACH}")
        if self.thing:
            steps[0] += f",split[b{number}][t{number}]"
            steps.append(f"[t{number}]crop={zoom * 110}:{zoom * 150}:120:90,hflip,"
                         f"lutyuv=u=maxval-val:v=maxval-val,{again}[thing{number}]")
            steps.append(f"[b{number}]{again},{window}[w{number}]")
            steps.append(f"[w{number}][thing{number}]overlay=x='{thing_x}':y='{thing_y}':format=yuv444")
        else:
            steps[0] += f",{again},{window}"
        grain = f"noise=c0s={self.grain}:c0f=t:c0_seed={self.seed + 1}," if self.grain else ""
        steps[-1] += (f",scale={width}:{height}:flags=bicubic+accurate_rnd+bitexact,format=yuv420p,{grain}"
                      f"trim=end_frame={self.pictures},setsar=1[shot{number}]")
        return ";".join(steps)


def filmed(shots, then, code, size=(720, 576), rate="25"):
    """A recipe: shots one after the other, through the filters `then`, coded with options.

    `then` begins at the joined shots and ends at what is coded; it may hold several chains.
    """
    def make(folder, path):
        inputs = []
        for shot in shots:
            inputs += ["-framerate", rate, "-i", painting(folder, shot)]
        chains = [shot.chain(number, size, rate) for number, shot in enumerate(shots)]
        joined = "".join(f"[shot{number}]" for number in range(len(shots)))
        if len(shots) > 1:
            joined += f"concat=n={len(shots)},"
        graph = f"{';'.join(chains)};{joined}settb=1/90000,setpts=N/({rate})/TB{then}[out]"
        ffmpeg("-filter_complex_threads", 1, *inputs, "-filter_complex", graph, "-map", "[out]",
               *code.split(), "-threads", 1, *BITEXACT, path)
    return make
