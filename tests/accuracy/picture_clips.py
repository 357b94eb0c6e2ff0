"""Pictures without a fault and with one, whose places are known to the picture."""

from picture_sources import Shot, filmed
from recipe import *  # noqa: F403: a recipe is a sentence of these words

FILM, NTSC, FIELDS_NTSC = "24000/1001", "30000/1001", "60000/1001"
H264 = "-pix_fmt yuv420p -c:v libx264 -preset veryfast -crf 20 -g 50"
LOW_RATE = "-pix_fmt yuv420p -c:v libx264 -preset veryfast -crf 32 -g 50"
H264_10 = H264.replace("yuv420p", "yuv420p10le")
HEVC = ("-pix_fmt yuv420p -c:v libx265 -preset ultrafast -crf 22"
        " -x265-params log-level=error:pools=none:frame-threads=1:info=0")
MPEG2 = "-pix_fmt yuv420p -c:v mpeg2video -b:v 6000k -maxrate 8000k -bufsize 1835k -g 12 -bf 2"
PRORES = "-pix_fmt yuv422p10le -c:v prores_ks -profile:v 1"
DV = "-pix_fmt yuv420p -c:v dvvideo"
CODED_FIELDS = " -flags +ildct+ilme"
WEAVE = {"top": ",tinterlace=mode=interleave_top", "bottom": ",tinterlace=mode=interleave_bottom"}
FLAG = {"top": ",setfield=tff", "bottom": ",setfield=bff", "progressive": ",setfield=prog"}
FOUND = {"top": "top first", "bottom": "bottom first", "progressive": "progressive"}
PAL, NTSC_SIZE = (720, 576), (720, 480)
SECONDS = 6
NO_CUT = finds(of=["cut"])


def shown(name, what, make, faulty=False, small=False, **expect):
    """A clip of which all checks of pictures are asked; cuts are those that are named."""
    expect = {check.replace("_", "-"): wanted for check, wanted in {"cuts": NO_CUT, **expect}.items()}
    return Clip(f"picture-{name}", what, make, expect, small, faulty, PICTURE_CHECKS)


# Field order: fields of the camera are at 50 a second, woven by number.

def order_expected(real, flag, first=0, end=25 * SECONDS):
    run = finds(pictures(first, end, FOUND[real]), of=list(FOUND.values()))
    if real == flag:
        return {**run, "expect": CLEAN}
    if real == "progressive":
        return finds(*run["finds"]["events"], of=run["finds"]["of"], judged=says("progressive"))
    return finds(*run["finds"]["events"], of=run["finds"]["of"],
                 judged=breaks(event(first / 25, f"{FOUND[real]}, flagged {flag}", 0.1, end / 25)))


def ordered(kind, code, real, flag, shot=None, what=""):
    rate, count = ("25", 25) if real == "progressive" else ("50", 50)
    shot = shot or Shot(1, SECONDS * count)
    wanted = order_expected(real, flag)
    name = f"order-{real}-flagged-{flag}{what and '-' + what}-{kind}"
    return shown(name, f"{FOUND[real]}, flagged {flag} {what}".rstrip(), filmed(
        [shot], WEAVE.get(real, "") + FLAG[flag], code + (CODED_FIELDS if flag != "progressive" else ""),
        rate=rate), wanted["expect"] == BREAKS, field_order=wanted)


ORDERS = [(real, flag) for real in FOUND for flag in FOUND]
ORDER = [ordered("h264.mp4", H264, real, flag) for real, flag in ORDERS]
ORDER += [ordered("mpeg2.mpg", MPEG2, real, flag) for real, flag in ORDERS]
ORDER += [ordered("prores.mov", PRORES, real, flag)
          for real, flag in ORDERS if flag != "bottom" or real != "progressive"]
ORDER += [ordered("dv.avi", DV, real, "bottom") for real in FOUND]
for real, flag in (("top", "top"), ("bottom", "top"), ("progressive", "progressive")):
    pace = 25 if real == "progressive" else 50
    for what, shot in (
            ("slow-pan", Shot(2, SECONDS * pace, way=("25*T-75", "6*T-18"), thing=False)),
            ("fast-pan", Shot(3, SECONDS * pace, across=150, down=20, turn=1.0)),
            ("tilt", Shot(4, SECONDS * pace, way=("0", "20*T-60"), thing=False)),
            ("noise", Shot(5, SECONDS * pace, grain=14)),
            ("little-motion", Shot(6, SECONDS * pace, way=("0", "0"), grain=6))):
        ORDER.append(ordered("h264.mp4", H264, real, flag, shot=shot, what=what))
ORDER += [
    *(shown(f"order-still-{flag}.mp4", f"A still with noise, flagged {flag}", filmed(
        [Shot(7, 300, way=("0", "0"), thing=False, grain=grain)], WEAVE["top"] + FLAG[flag],
        H264 + CODED_FIELDS, rate="50"), field_order={**finds(of=list(FOUND.values())), "expect": CLEAN},
        freeze=undecided("noise may be taken for change") if grain else says("a still throughout"))
      for flag, grain in (("top", 0), ("bottom", 8))),
    # The camera's order changes and the flag does not.
    shown("order-changes-at-cut.mp4", "Top first, then bottom first from a cut on, flagged top", filmed(
        [Shot(8, 150), Shot(9, 150)], ",split[a][b];[a]trim=end_frame=150" + WEAVE["top"]
        + "[c];[b]trim=start_frame=150,setpts=PTS-STARTPTS" + WEAVE["bottom"]
        + "[d];[c][d]concat=n=2,setpts=N/25/TB" + FLAG["top"], H264 + CODED_FIELDS, rate="50"), True,
        field_order=finds(pictures(0, 75, "top first"), pictures(75, 150, "bottom first"),
                          of=list(FOUND.values()), judged=breaks(pictures(75, 150, "bottom first"))),
        cuts=finds(pictures(75, 75, "cut"), of=["cut"])),
]

# Cadence: film pictures A B C D are shown for so many fields each; after K frames it is phase K.
TWO_THREE = {first: f",telecine=first_field={first}:pattern=23" for first in ("top", "bottom")}
ADVANCED = {first: f",telecine=first_field={first}:pattern=2332" for first in ("top", "bottom")}
PULLED = {first: f",telecine=first_field={first}:pattern=" + 2 * ("2" * 11 + "3") for first in ("top", "bottom")}


def after(frames, count, rate=NTSC):
    return f",trim=start_frame={frames}:end_frame={frames + count},setpts=(N)/({rate})/TB"


def cadenced(name, what, shots, graph, first, runs, rate=NTSC, size=NTSC_SIZE, source=FILM, code=H264,
             **also):
    wanted = finds(*(pictures(begin, end, words, rate) for begin, end, words in runs))
    return shown(f"cadence-{name}.mp4" if code is H264 else f"cadence-{name}.mpg", what, filmed(
        shots, graph + FLAG[first], code + (CODED_FIELDS if first != "progressive" else ""), size, source),
        **{"cadence": wanted, **also})


CADENCE = []
for first in ("top", "bottom"):
    CADENCE += [cadenced(
        f"23-{first}-{phase}", f"2:3, {first} first, phase {phase}", [Shot(10 + phase, 164)],
        TWO_THREE[first] + after(phase, 195), first, [(0, 195, f"2:3, phase {phase}")],
        code=MPEG2 if phase % 2 else H264) for phase in range(5)]
    CADENCE += [
        cadenced(f"2332-{first}", f"2:3:3:2, {first} first", [Shot(15, 164)], ADVANCED[first] + after(0, 200),
                 first, [(0, 200, "2:3:3:2")]),
        cadenced(f"24-in-25-{first}", f"24 in 25 by fields, {first} first", [Shot(16, 240)],
                 PULLED[first] + after(0, 250, 25), first, [(0, 250, "24 in 25")], "25", PAL, "24"),
        cadenced(f"22-shifted-{first}", f"Film whose {first} field is a picture late", [Shot(17, 151)],
                 f",phase=mode={'b' if first == 'top' else 't'}" + after(1, 150, 25), first,
                 [(0, 150, "2:2 shifted")], "25", PAL, "25"),
        # Frames that are cut out in mid-shot: from phase 0 at 97 to phase 3 and so on.
        cadenced(f"23-edited-{first}", f"2:3, {first} first, frames cut out at 97", [Shot(18, 164)],
                 TWO_THREE[first] + f",select='not(between(n,97,99))'{after(0, 195)}", first,
                 [(0, 97, "2:3, phase 0"), (97, 97, "cadence breaks"), (97, 195, "2:3, phase 3")]),
        cadenced(f"interlaced-{first}", f"True fields, {first} first", [Shot(19, 360)], WEAVE[first], first,
                 [], source=FIELDS_NTSC)]
CADENCE += [
    cadenced("23-edited-in-phase", "2:3, five frames cut out: the phase stays", [Shot(18, 164)],
             TWO_THREE["top"] + f",select='not(between(n,97,101))'{after(0, 195)}", "top",
             [(0, 195, "2:3, phase 0")]),
    cadenced("23-cuts", "2:3 with cuts of the film", [Shot(20, 60), Shot(21, 50), Shot(22, 60)],
             TWO_THREE["top"] + after(0, 210), "top", [(0, 210, "2:3, phase 0")],
             cuts=finds(pictures(75, 75, "cut", NTSC), pictures(137, 137, "cut", NTSC), of=["cut"])),
    cadenced("23-grain", "2:3 of grainy film", [Shot(23, 164, grain=12)], TWO_THREE["top"] + after(0, 200),
             "top", [(0, 200, "2:3, phase 0")]),
    cadenced("progressive", "29.97 pictures a second", [Shot(24, 180)], "", "progressive", [], source=NTSC),
]

# Repeats: `places` show again what is before them, grain and all.

def again(places, rate="25"):
    """The filter counts from 1."""
    return "".join(f",loop=loop=1:size=1:start={place},setpts=N/({rate})/TB" for place in places)


def repeated(kind, code, places, number=30, size=PAL, **named):
    wanted = [pictures(place, place + 1, "repeated picture", tolerance=0) for place in places]
    return shown(f"repeats-{len(places)}-{number}-{kind}", f"Pictures shown again: {places}", filmed(
        [Shot(number, 150, **named)], again(places), code, size), bool(places),
        repeats=finds(*wanted, judged=breaks(*wanted)) if places else
        {**finds(), "expect": CLEAN})


def regular(name, what, source, rate):
    filters = f",fps={rate},trim=end_frame=200,setpts=N/({rate})/TB"
    return shown(f"repeats-{name}.mp4", what, filmed([Shot(39, 180)], filters, H264, rate=source), True,
                 repeats=breaks(event(1, "regular repeats", 1, 4)))


REPEATS = [repeated(kind, code, places, number, **named) for kind, code, places, number, named in (
    ("h264.mp4", H264, [60], 30, {}), ("h264.mp4", H264, [41, 90, 133], 40, {}), ("mpeg2.mpg", MPEG2, [77], 32, {}),
    ("hevc.mp4", HEVC, [50, 101], 33, {}), ("prores.mov", PRORES, [66, 67 + 40], 34, {}),
    ("low.mp4", LOW_RATE, [58, 120], 35, {}), ("grain.mp4", H264, [88], 36, {"grain": 12}),
    ("h264.mp4", H264, [], 37, {}), ("little.mp4", H264, [70], 38, {"way": ("0", "0")}),
    ("little.mp4", H264, [], 38, {"way": ("0", "0")}))]
REPEATS += [regular("24-in-30", "24 pictures shown 30 times", "24", "30"),
            regular("24-in-25", "24 pictures shown 25 times", "24", "25"),
            regular("1-in-2", "Each picture shown twice", "12.5", "25")]

# Freezes: picture `first` is shown `count` times.

def frozen(name, what, first, count, wanted, code=H264, then="", seed=40, **named):
    """The filter counts pictures from 1."""
    return shown(f"freeze-{name}", what, filmed(
        [Shot(seed, 160, **named)],
        f",loop=loop={count - 1}:size=1:start={first + 1},setpts=N/25/TB,trim=end_frame={149 + count}{then}", code),
        wanted["expect"] == BREAKS, freeze=wanted)


HELD = lambda first, count: breaks(pictures(first, first + count, "no visible change"))  # noqa: E731
FREEZE = [
    frozen("63.mp4", "63 pictures alike", 70, 63, HELD(70, 63)),
    frozen("125.mpg", "125 pictures alike", 50, 125, HELD(50, 125), MPEG2),
    frozen("noise.mp4", "75 pictures alike but for noise", 70, 75, HELD(70, 75), then=",noise=c0s=3:c0f=t:c0_seed=5"),
    frozen("low.mp4", "75 pictures alike at a low rate", 70, 75, HELD(70, 75), LOW_RATE),
    frozen("short.mp4", "40 pictures alike", 70, 40, {"expect": CLEAN}),
    frozen("head.mp4", "A still of 75 pictures at the head", 0, 75, says("still at the start")),
    frozen("tail.mp4", "75 pictures alike to the end, in mid-motion", 149, 75, says("still at the end")),
    shown("freeze-clock.mp4", "A still with a small thing that moves", filmed(
        [Shot(41, 150, way=("0", "0"))], "", H264)),
    shown("freeze-slow.mp4", "A pan of 0.2 pixels a picture", filmed(
        [Shot(42, 150, way=("5*T", "0"), thing=False, fine=True)], "", H264)),
]

# Black: pictures `first` to `end` are black but for what is in them.

def blacked(name, what, first, end, wanted, code=H264, then="", level=16, before="", **also):
    black = f"{before},lutyuv=y={level}:u=128:v=128:enable='between(n,{first},{end - 1})'{then}"
    return shown(f"black-{name}", what, filmed([Shot(40, 200)], black, code), wanted["expect"] == BREAKS,
                 **{"black": wanted, "freeze": undecided("black is black"),
                    "cuts": undecided("to or from black"), **also})


BLACK_SPAN = breaks(pictures(62, 137, "black"))
LOGO = ",drawbox=x=600:y=60:w={0}:h={0}:color=white:t=fill"
BLACK = [
    blacked("middle.mp4", "3 s of black", 62, 137, BLACK_SPAN),
    blacked("middle.mpg", "3 s of black", 62, 137, BLACK_SPAN, MPEG2),
    blacked("middle-10.mp4", "3 s of black, 10 bits", 62, 137, BLACK_SPAN, H264_10),
    blacked("level-30.mp4", "3 s of level 30", 62, 137, BLACK_SPAN, level=30),
    blacked("level-45.mp4", "3 s of level 45 are no black", 62, 137, {"expect": CLEAN}, level=45),
    blacked("logo.mp4", "3 s of black with a logo of 1 %", 62, 137, BLACK_SPAN, then=LOGO.format(64)),
    blacked("big-logo.mp4", "3 s of black with a logo of 2.4 %", 62, 137, {"expect": CLEAN}, then=LOGO.format(100)),
    blacked("noise.mp4", "3 s of black with noise", 62, 137, BLACK_SPAN, then=",noise=c0s=8:c0f=t:c0_seed=3"),
    blacked("short.mp4", "1.5 s of black", 62, 99, {"expect": CLEAN}),
    blacked("leader.mp4", "3 s of black at the head", 0, 75, says("leader")),
    blacked("tail.mp4", "3 s of black at the tail", 125, 200, says("tail")),
    shown("black-dark.mp4", "Dark film", filmed([Shot(51, 150)], ",lutyuv=y=16+(val-16)*0.2", H264)),
]

# Cuts: shots of known lengths.
LENGTHS = (25, 18, 40, 31, 22, 55, 16, 37)


def montage(name, what, then, code, size=PAL, **also):
    places = [sum(LENGTHS[:count]) for count in range(1, len(LENGTHS))]
    return shown(f"cuts-{name}", what, filmed(
        [Shot(60 + number, length) for number, length in enumerate(LENGTHS)], then, code, size),
        **{"cuts": finds(*(pictures(place, place, "cut", tolerance=0) for place in places)), **also})


def flashed(name, what, first, end, colour="white"):
    return shown(f"cuts-{name}.mp4", what, filmed(
        [Shot(70, 150)], f",drawbox=color={colour}:t=fill:enable='between(n,{first},{end - 1})'", H264),
        cuts=finds(pictures(first, end, "flash", tolerance=1)))


def dissolved(name, what, count, kind, seeds=(71, 72), **named):
    """The second shot covers the first, whose last whole picture is 100 - `count`. Its times are a
    little early, so that rounding makes none late."""
    begin = 100 - count
    return shown(f"cuts-{name}.mp4", what, filmed(
        [Shot(seeds[0], 150, **named), Shot(seeds[1], 150 - begin, **named)], ",split[a][b];[a]trim=end_frame=150[c];"
        f"[b]trim=start_frame=150,setpts=PTS-STARTPTS,format=yuva420p,fade=in:0:{count}:alpha=1,"
        f"setpts=PTS+{begin - 0.5}/25/TB[d];[c][d]overlay=format=yuv420", H264),
        cuts=finds(pictures(begin, 100, kind, tolerance=4)))


CUTS = [
    montage("montage.mp4", "Eight shots", "", H264, (640, 360)), montage("montage.mpg", "Eight shots", "", MPEG2),
    montage("hevc.mp4", "Eight shots", "", HEVC), montage("low.mp4", "Eight shots at a low rate", "", LOW_RATE),
    montage("letterbox.mp4", "Eight shots, letterboxed", ",drawbox=h=80:color=black:t=fill,drawbox=y=496:h=80:"
            "color=black:t=fill", H264),
    montage("dark.mp4", "Eight shots, dark and noisy", ",lutyuv=y=16+(val-16)*0.25,noise=c0s=10:c0f=t:c0_seed=4", H264),
    *(flashed(f"flash-{count}", f"A flash of {count} pictures", 70, 70 + count) for count in (1, 2, 3)),
    *(dissolved(f"dissolve-{count}", f"A dissolve of {count} pictures", count, "dissolve") for count in (12, 25, 48)),
    shown("cuts-fades.mp4", "Fades from and to black", filmed(
        [Shot(73, 200)], ",fade=in:0:25,fade=out:170:25", H264), cuts=finds(
            pictures(0, 25, "fade in", tolerance=4), pictures(170, 195, "fade out", tolerance=4)),
        black=undecided("black at the ends")),
    shown("cuts-whip.mp4", "A whip pan of 60 pixels a picture", filmed(
        [Shot(74, 150, way=("280*tanh(8*(T-3))", "30*sin(T)"))], "", H264, (640, 360)), cuts=finds(of=["cut"])),
]

# The active picture: black bars over the edges.

def barred(name, what, left, top, right, bottom, size=(1280, 720), then="", code=H264, seed=80):
    width, height = size
    area = f"crop={width - left - right}:{height - top - bottom}:{left}:{top},pad={width}:{height}:{left}:{top}"
    box = f"active picture {width - left - right}x{height - top - bottom}+{left}+{top}"
    return shown(f"active-{name}", what, filmed([Shot(seed, 100)], f",{area}{then}", code, size),
                 active_picture=finds(pictures(0, 100, box, within=2), of=["active picture"]))


ACTIVE = [
    barred("full.mp4", "No bars", 0, 0, 0, 0), barred("239.mp4", "2.39 to 1", 0, 92, 0, 92),
    barred("185.mp4", "1.85 to 1", 0, 14, 0, 14), barred("43.mp4", "4 to 3", 160, 0, 160, 0),
    barred("window.mp4", "A window", 160, 90, 160, 90), barred("239.mpg", "2.39 to 1", 0, 72, 0, 72, PAL, "", MPEG2),
    barred("subtitles.mp4", "Subtitles in the bar", 0, 92, 0, 92,
           then=",drawbox=x=400:y=650:w=480:h=30:color=white:t=fill:enable='lt(mod(n,50),40)'"),
    barred("dark.mp4", "Dark film, 2.39 to 1", 0, 92, 0, 92, then=",lutyuv=y=16+(val-16)*0.35"),
    shown("active-changes.mp4", "2.39 to 1, then full from a cut on", filmed(
        [Shot(1, 100), Shot(40, 100)], ",drawbox=h=72:color=black:t=fill:enable='lt(n,100)',"
        "drawbox=y=504:h=72:color=black:t=fill:enable='lt(n,100)'", H264), cuts=finds(pictures(100, 100, "cut")),
        active_picture=finds(pictures(0, 100, "active picture 720x432+0+72", within=2),
                             pictures(100, 200, "active picture 720x576+0+0", within=2), of=["active picture"])),
]

# Flashes: a box of a share of the picture changes between two levels, `half` pictures each, for 3 s.
# A level Y stands for 200 cd/m2 * ((Y - 16) / 219) ^ 2.4: 110 is 29, 140 is 52, 147 is 59, 216 and above 160.

def flashing(name, what, low, high, half, share, harmful, colours=((128, 128), (128, 128)), rate="25"):
    begin, end = 2 * float(rate), 5 * float(rate)
    width, height = 720, round(288 * share) * 2
    box = (f",split[p][q];[q]crop={width}:{height}:0:0,lutyuv=y={low}:u={colours[0][0]}:v={colours[0][1]},split[l][m];"
           f"[m]lutyuv=y={high}:u={colours[1][0]}:v={colours[1][1]}[h];"
           f"[p][l]overlay=enable='between(n,{begin},{end})*lt(mod(n-{begin},{2 * half}),{half})'[r];"
           f"[r][h]overlay=enable='between(n,{begin},{end})*gte(mod(n-{begin},{2 * half}),{half})'")
    return shown(f"flashes-{name}.mp4", what, filmed(
        [Shot(40, round(7 * float(rate)), way=("30*T-100", "0"), thing=False)], box, H264, rate=rate), harmful,
        flashes=breaks(event(2, what, 0.5, 5)) if harmful else {"expect": CLEAN},
        cuts=undecided("what flashes may be cuts"), active_picture=undecided("black boxes"),
        freeze=undecided("what flashes stands still"), repeats=undecided("what flashes repeats"))


FLASHES = [
    flashing("fast", "5 flashes a second over 40 %", 16, 235, 5, 0.4, True, rate="50"),
    flashing("6", "6.25 flashes a second over 40 %", 16, 235, 2, 0.4, True),
    flashing("whole", "4.2 flashes a second over all", 16, 200, 3, 1, True),
    flashing("part", "6.25 flashes a second over 15 %", 16, 235, 2, 0.15, False),
    flashing("three", "3 flashes a second over 40 %", 16, 235, 5, 0.4, False, rate="30"),
    flashing("slow", "1 flash a second over all", 16, 235, 15, 1, False, rate="30"),
    flashing("small", "6.25 changes a second between 52 and 59 cd/m2", 140, 147, 2, 0.4, False),
    flashing("bright", "6.25 changes a second between 165 and 200 cd/m2", 218, 235, 2, 0.4, False),
    flashing("red", "6.25 saturated red flashes a second over 40 %", 16, 81, 2, 0.4, True, ((128, 128), (90, 240))),
]

PICTURE = ORDER + CADENCE + REPEATS + FREEZE + BLACK + CUTS + ACTIVE + FLASHES
