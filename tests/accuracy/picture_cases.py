"""Pictures of harder kinds: titles over film, formats of delivery, what looks like a fault and is none.

Some led to changes of rules: they are no blind test.
"""

from picture_clips import (CODED_FIELDS, FIELDS_NTSC, FILM, FLAG, FOUND, H264, HELD, HEVC, LOW_RATE, MPEG2,
                           NTSC, NTSC_SIZE, PAL, TWO_THREE, ADVANCED, WEAVE, after, again, barred,
                           blacked, cadenced, dissolved, flashing, frozen, order_expected, shown)
from picture_sources import Shot, filmed
from recipe import *  # noqa: F403: a recipe is a sentence of these words

CIF = (352, 288)
DELIVERY = MPEG2.replace("6000k", "4000k")
H264_422_10 = H264.replace("yuv420p", "yuv422p10le")
POOR_MPEG2 = MPEG2.replace("6000k", "1500k")
POOR_HEVC = HEVC.replace("crf 22", "crf 36")

# A line of titles crawls over the last rows: [m] is the film, [t] the page, both at the rate of fields.


def crawling(film, fields, then, code, source, size=PAL, speed=60):
    width, height = size
    page = Shot(200, fields, way=(f"{speed}*T-100", "0"), thing=False, grain=0, page=True)
    film.pictures = fields
    strip = 96
    return filmed([film, page], f",split[p][q];[p]trim=end_frame={fields}[m];[q]trim=start_frame={fields},"
                  f"setpts=PTS-STARTPTS,crop={width}:{strip}:0:{(height - strip) // 2}[t];"
                  f"[m][t]overlay=0:{height - strip - 32}{then}", code, size, source)


ORDER_CASES = []
for real, flag in (("top", "top"), ("bottom", "top")):
    wanted = order_expected(real, flag)
    cadence_none = {"cadence": finds()}
    ORDER_CASES += [
        shown(f"order-roll-{real}.mp4", f"Titles that roll on black, {FOUND[real]}, flagged {flag}", filmed(
            [Shot(201, 120, way=("0", "50*T-60"), thing=False, grain=0, page=True)],
            WEAVE[real] + FLAG[flag], H264 + CODED_FIELDS, rate="50"), real != flag,
            field_order=order_expected(real, flag, 0, 60), black=undecided("titles are small"), **cadence_none),
        shown(f"order-crawl-{real}.mp4", f"A crawl over film, {FOUND[real]}, flagged {flag}", crawling(
            Shot(90, 300, clock="floor(n/2)/25", grain=0, across=60, down=20), 300, WEAVE[real] + FLAG[flag],
            H264 + CODED_FIELDS, "50"), field_order=undecided("most of it is progressive"), **cadence_none),
        shown(f"order-422-{real}.mov", f"10 bits 4:2:2, {FOUND[real]}, flagged {flag}", filmed(
            [Shot(91, 300)], WEAVE[real] + FLAG[flag], H264_422_10 + CODED_FIELDS, rate="50"), real != flag,
            field_order=wanted),
    ]
ORDER_CASES += [
    shown(f"order-changes-in-shot-{seed}.mp4", "Top first, then bottom first in the midst of a shot, flagged top",
          filmed([Shot(seed, 300)], ",split[a][b];[a]trim=end_frame=150" + WEAVE["top"]
                 + "[c];[b]trim=start_frame=150,setpts=PTS-STARTPTS" + WEAVE["bottom"]
                 + "[d];[c][d]concat=n=2,setpts=N/25/TB" + FLAG["top"], H264 + CODED_FIELDS, rate="50"), True,
          field_order=finds(pictures(0, 75, "top first"), pictures(75, 150, "bottom first"),
                            of=list(FOUND.values()), judged=breaks(pictures(75, 150, "bottom first"))))
    for seed in (92, 93)]

# Field n shows picture 2n/5 of the film: 3 and 2 fields by turns, from phase 1 on.
FIELDS_OF_FILM = "floor(n*2/5)/24"
CADENCE_CASES = [
    cadenced(f"delivery-23-top-{phase}", f"2:3 at 4 Mb/s, phase {phase}", [Shot(94 + phase, 164)],
             TWO_THREE["top"] + after(phase, 195), "top", [(0, 195, f"2:3, phase {phase}")], code=DELIVERY)
    for phase in range(5)]
CADENCE_CASES += [
    cadenced("2332-edited", "2:3:3:2, frames cut out at 98", [Shot(100, 164)],
             ADVANCED["top"] + f",select='not(between(n,98,100))'{after(0, 195)}", "top",
             [(0, 98, "2:3:3:2, phase 0"), (98, 98, "cadence breaks"), (98, 195, "2:3:3:2, phase 3")]),
    cadenced("mixed", "2:3, true fields and 29.97 pictures a second by turns", [
        Shot(101, 180, clock=FIELDS_OF_FILM, grain=0), Shot(102, 180),
        Shot(103, 180, clock="floor(n/2)*2/59.94", grain=0)], WEAVE["top"], "top",
        [(0, 90, "2:3, phase 1")], source=FIELDS_NTSC,
        cuts=finds(pictures(90, 90, "cut", NTSC), pictures(180, 180, "cut", NTSC), of=["cut"])),
    *(shown(f"cadence-titles-{seed}.mp4", "2:3 under a crawl of fields", crawling(
        Shot(seed, 360, clock=FIELDS_OF_FILM, grain=0), 360, WEAVE["top"] + FLAG["top"], H264 + CODED_FIELDS,
        FIELDS_NTSC, NTSC_SIZE), cadence=finds(pictures(0, 180, "2:3, phase 1", NTSC))) for seed in (104, 105)),
    cadenced("23-422-10", "2:3, 10 bits 4:2:2", [Shot(106, 164)], TWO_THREE["bottom"] + after(3, 195), "bottom",
             [(0, 195, "2:3, phase 3")], code=H264_422_10),
]

# Pans and zooms by parts of a pixel: what moves so slowly may be coded as the picture before.
SLOW_CASES = [
    shown(f"slow-pan-{name}-{speed}-{seed}.mp4", f"A pan of {speed} pixels a picture, {name}", filmed(
        [Shot(seed, 150, way=(f"{25 * speed}*(T-3)", "0"), thing=False, fine=True, grain=grain)], "", code))
    for seed, name, code, grain, speed in (
        (107, "clean", H264, 0, 0.1), (108, "grain", H264, 3, 0.3), (109, "low", LOW_RATE, 0, 0.2),
        (110, "hevc", POOR_HEVC, 0, 0.2), (111, "low", LOW_RATE, 3, 0.4))]
SLOW_CASES += [
    shown(f"slow-zoom-{seed}.mp4", "A zoom of 0.05 % a picture", filmed(
        [Shot(seed, 150, way=("0", "0"), thing=False, fine=True, closer="0.00025*n", grain=0)], "", code))
    for seed, code in ((112, H264), (113, LOW_RATE))]

CARD = "A card of 75 pictures after a cut, to the end"
FREEZE_CASES = [
    frozen("faint-grain.mp4", "63 pictures alike but for faint grain", 70, 63, HELD(70, 63),
           then=",noise=c0s=2:c0f=t:c0_seed=5", seed=114),
    frozen("poor.mpg", "75 pictures alike at 1.5 Mb/s", 60, 75, HELD(60, 75), POOR_MPEG2, seed=115),
    frozen("poor-hevc.mp4", "75 pictures alike at a very low rate", 60, 75, HELD(60, 75), POOR_HEVC, seed=116),
    frozen("low-2.mp4", "75 pictures alike at a low rate", 30, 75, HELD(30, 75), LOW_RATE, seed=117),
    frozen("422-10.mov", "75 pictures alike, 10 bits 4:2:2", 60, 75, HELD(60, 75), H264_422_10, seed=118),
    frozen("tail-poor.mp4", "75 pictures alike to the end at a low rate", 149, 75, says("still at the end"), LOW_RATE, seed=119),
    *(shown(f"freeze-card-{seed}.mp4", CARD, filmed(
        [Shot(seed, 100), Shot(seed + 1, 75, way=("0", "0"), thing=False, grain=0)], "", code),
        freeze=says("still at the end"), cuts=finds(pictures(100, 100, "cut"), of=["cut"]))
      for seed, code in ((120, H264), (121, LOW_RATE))),
    # It comes to rest as movements do.
    *(shown(f"freeze-rest-{seed}.mp4", "A pan that comes to rest, to the end", filmed(
        [Shot(seed, 200, way=("200*(1-pow(1-min(T/4,1),3))-100", "0"), thing=False, fine=False, grain=0)], "", H264),
        freeze=says("still at the end"), repeats=undecided("it comes to rest")) for seed in (123, 124)),
    shown("freeze-clock-ticks.mp4", "A still on which a small thing jumps each second", filmed(
        [Shot(125, 150, way=("0", "0"), thing=False, grain=0)],
        "".join(f",drawbox=x={300 + 20 * at}:y=280:w=12:h=40:color=white:t=fill:enable='eq(floor(n/25),{at})'"
                for at in range(6)), H264)),
]

FULL_RANGE = ",scale=out_range=full,format=yuvj420p"
FULL_H264 = H264.replace("yuv420p", "yuvj420p") + " -color_range pc"
BLACK_CASES = [
    blacked("full-range.mp4", "3 s of black in full range", 62, 137, breaks(pictures(62, 137, "black")),
            code=FULL_H264, before=FULL_RANGE, level=20),
    blacked("full-range-30.mp4", "3 s of level 30 are no black in full range", 62, 137, {"expect": CLEAN},
            code=FULL_H264, before=FULL_RANGE, level=30),
    blacked("station-logo.mpg", "3 s of black with a station's logo", 62, 137, breaks(pictures(62, 137, "black")),
            code=DELIVERY, then=",drawbox=x=620:y=40:w=60:h=40:color=gray:t=fill"),
]


def brighter(first, count, by=1.8):
    return f",lutyuv=y='clip((val-16)*{by}+40,16,235)':enable='between(n,{first},{first + count - 1})'"


def faded(name, what, filters, *events, seed=136):
    return shown(f"cuts-{name}.mp4", what, filmed([Shot(seed, 150, turn=12)], filters, H264), cuts=finds(*events),
                 freeze=undecided("white or black at an end"), black=undecided("white or black at an end"))


SLOW = {"turn": 20.0, "across": 100}
CUT_CASES = [
    *(dissolved(f"dissolve-slow-{count}", f"A dissolve of {count} pictures of slow shots", count, "dissolve",
                (126 + 2 * at, 127 + 2 * at), **SLOW) for at, count in enumerate((8, 12, 25, 48))),
    dissolved("dissolve-stills", "A dissolve of 25 pictures of stills", 25, "dissolve", (134, 135),
              way=("0", "0")),
    faded("fade-out-white", "A fade to white", ",fade=out:100:20:color=white", pictures(100, 120, "fade out", tolerance=4)),
    faded("fade-in-white", "A fade from white", ",fade=in:20:20:color=white", pictures(20, 40, "fade in", tolerance=4), seed=137),
    faded("fade-out-slow", "A slow fade to black", ",fade=out:60:60", pictures(60, 120, "fade out", tolerance=8), seed=138),
    faded("fade-out-fast", "A fast fade to black", ",fade=out:100:8", pictures(100, 108, "fade out", tolerance=4), seed=139),
    shown("cuts-scenery.mp4", "A cut within the same scenery", filmed(
        [Shot(140, 60, angle=0.0), Shot(140, 60, angle=3.1)], "", H264), cuts=finds(pictures(60, 60, "cut"))),
    shown("cuts-colour.mp4", "A cut to other colours of equal luma", filmed(
        [Shot(141, 120, way=("0", "0"))], ",lutyuv=u=256-val:v=256-val:enable='gte(n,60)'", H264),
        cuts=finds(pictures(60, 60, "cut"))),
    *(shown(f"cuts-flash-beside-{seed}.mp4", "A photographer's flash three pictures before a cut", filmed(
        [Shot(seed, 60), Shot(seed + 1, 60)], brighter(57, 1), H264),
        cuts=finds(pictures(57, 58, "flash", tolerance=1), pictures(60, 60, "cut"))) for seed in (142, 144)),
    *(shown(f"cuts-photographers-{seed}.mp4", "Flashes of photographers", filmed(
        [Shot(seed, 150)], brighter(40, 1) + brighter(70, 2) + brighter(110, 1, 1.5), H264),
        cuts=finds(*(pictures(first, first + count, "flash", tolerance=1) for first, count in
                     ((40, 1), (70, 2), (110, 1))))) for seed in (146, 147)),
    *(shown(f"cuts-foreign-{count}-{seed}.mp4", f"{count} foreign pictures in a shot", filmed(
        [Shot(seed, 60), Shot(seed + 1, count), Shot(seed, 60, clock=f"(n+{60 + count})/25")], "", H264),
        cuts=finds(pictures(60, 60 + count, "flash", tolerance=0))) for count, seed in ((1, 148), (1, 150), (3, 152))),
    shown("cuts-very-dark.mpg", "Cuts in very dark scenes", filmed(
        [Shot(154 + at, 40) for at in range(4)], ",lutyuv=y=16+(val-16)*0.15", MPEG2),
        cuts=finds(*(pictures(40 * at, 40 * at, "cut", tolerance=0) for at in (1, 2, 3))),
        black=undecided("very dark"), active_picture=undecided("very dark")),
    *(shown(f"cuts-explosion-{seed}.mp4", "An explosion that lights the scene", filmed(
        [Shot(seed, 120)], ",eq=brightness='0.6*gte(n,50)*exp(-(n-50)/7)':eval=frame", H264),
        cuts=finds(of=["cut", "dissolve", "fade"])) for seed in (158, 159)),
    *(shown(f"cuts-whip-{seed}.mp4", f"A whip pan of {speed} pixels a picture", filmed(
        [Shot(seed, 150, way=("280*tanh(%f*(T-3))" % (speed / 11.2), "30*sin(T)"))], "", code, (640, 360)),
        cuts=finds(of=["cut", "dissolve", "fade"])) for seed, speed, code in
      ((160, 100, H264), (161, 140, POOR_HEVC))),
]

BARS_239 = (0, 92, 0, 92)
SUBTITLES = ("drawbox=x=400:y={0}:w=480:h=26:color=white:t=fill:enable='lt(mod(n,50),40)',"
             "drawbox=x=470:y={1}:w=340:h=26:color=white:t=fill:enable='lt(mod(n,50),40)'")
ACTIVE_CASES = [
    barred("noise.mp4", "2.39 to 1, noise in the bars", *BARS_239, then=",noise=c0s=6:c0f=t:c0_seed=2"),
    barred("logo.mp4", "2.39 to 1, a logo in the bar", *BARS_239, then=",drawbox=x=1100:y=30:w=70:h=40:color=white:t=fill"),
    barred("two-lines.mp4", "2.39 to 1, two lines of subtitles in the bar", *BARS_239, seed=162,
           then="," + SUBTITLES.format(640, 674)),
    barred("always.mpg", "2.39 to 1, subtitles throughout", 0, 72, 0, 72, PAL, seed=163, code=MPEG2,
           then=",drawbox=x=200:y=525:w=320:h=26:color=white:t=fill"),
    barred("43-sd.mpg", "4 to 3 in a wide picture", 90, 0, 90, 0, PAL, seed=164, code=DELIVERY),
    barred("wide-dark.mpg", "Dark film without bars", 0, 0, 0, 0, PAL, seed=165, code=MPEG2,
           then=",lutyuv=y=16+(val-16)*0.3"),
]

FLASH_CASES = [
    flashing("under-area", "6.25 flashes a second over 21 %", 16, 235, 2, 0.21, False),
    flashing("over-area", "6.25 flashes a second over 30 %", 16, 235, 2, 0.3, True),
    flashing("single", "2.1 flashes a second over all", 16, 235, 12, 1, False, rate="50"),
    flashing("faint-red", "Red that is not saturated, of equal luma", 100, 100, 2, 0.4, False, ((128, 128), (110, 165))),
    flashing("red-slow", "2.5 saturated red flashes a second", 16, 81, 5, 0.4, False, ((128, 128), (90, 240))),
    flashing("red-area", "6.25 saturated red flashes a second over 15 %", 16, 81, 2, 0.15, False, ((128, 128), (90, 240))),
]

# The few that each run of the tests makes.


def small(name, what, shots, then, faulty=False, code=H264, rate="25", **expect):
    return shown(f"small-{name}", what, filmed(shots, then, code, CIF, rate), faulty, True, **expect)


def glimpse(count, **named):
    return Shot(40, count, **{"across": 75, "down": 27, **named})


SMALL = [
    small("order.mp4", "Bottom first, flagged top first", [glimpse(100)], WEAVE["bottom"] + FLAG["top"], True,
          H264 + CODED_FIELDS, "50", field_order=order_expected("bottom", "top", 0, 50)),
    small("cadence.mp4", "2:3, phase 2", [glimpse(64)], TWO_THREE["top"] + after(2, 75) + FLAG["top"],
          code=H264 + CODED_FIELDS, rate=FILM, cadence=finds(pictures(0, 75, "2:3, phase 2", NTSC))),
    small("repeats.mp4", "Two pictures shown again, then a cut", [glimpse(60), glimpse(25, angle=4.0, across=260)],
          again([21, 47]), True, repeats=breaks(*(pictures(at, at + 1, "repeated picture") for at in (21, 47))),
          cuts=finds(pictures(62, 62, "cut", tolerance=0))),
    small("freeze.mp4", "55 pictures alike", [glimpse(40)], ",loop=loop=54:size=1:start=11,setpts=N/25/TB", True,
          freeze=breaks(pictures(10, 65, "no visible change"))),
    small("black.mp4", "55 pictures of black", [glimpse(75)],
          ",lutyuv=y=16:u=128:v=128:enable='between(n,10,64)'", True, black=breaks(pictures(10, 65, "black")),
          freeze=undecided("black is black"), cuts=undecided("to or from black")),
    small("bars.mp4", "Letterboxed, then not", [glimpse(30), glimpse(30, angle=4.0)],
          ",drawbox=h=36:color=black:t=fill:enable='lt(n,30)',drawbox=y=252:h=36:color=black:t=fill:enable='lt(n,30)'",
          active_picture=finds(pictures(0, 30, "active picture 352x216+0+36", within=2),
                               pictures(30, 60, "active picture 352x288+0+0", within=2), of=["active picture"]),
          cuts=finds(pictures(30, 30, "cut", tolerance=0))),
    small("flashes.mp4", "6.25 flashes a second over all", [glimpse(60)],
          ",lutyuv=y=16:enable='between(n,10,50)*lt(mod(n,4),2)',lutyuv=y=235:enable='between(n,10,50)*gte(mod(n,4),2)'",
          True, flashes=breaks(event(0.4, "luminance flashes", 0.5, 2.0)), cuts=undecided("what flashes may be cuts"),
          active_picture=undecided("black pictures"), repeats=undecided("what flashes repeats")),
]

CASES = (ORDER_CASES + CADENCE_CASES + SLOW_CASES + FREEZE_CASES + BLACK_CASES + CUT_CASES + ACTIVE_CASES
         + FLASH_CASES + SMALL)
