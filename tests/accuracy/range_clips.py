"""Pictures whose signals leave the range of EBU R 103 or do not, by codes that are known."""

from recipe import *  # noqa: F403: a recipe is a sentence of these words

CHECKS_OF_RANGE = ["signal-range"]
FFV1 = "-c:v ffv1 -g 1"
X264_FINE = "-c:v libx264 -preset veryfast -crf 16"
X264_COARSE = "-c:v libx264 -preset veryfast -crf 30"
MPEG2_422 = "-c:v mpeg2video -b:v 20M -maxrate 20M -bufsize 8M"
PRORES = "-c:v prores_ks -profile:v 3 -vendor apl0"
HD709 = "-colorspace bt709 -color_primaries bt709 -color_trc bt709"
# Pictures, at 25 a second, in which a fault is there, and its seconds.
FAULTY = "between(N,25,49)"
SECOND = event(1, "outside the range", 0.02, 2, ends=True)
ALL = event(0, "outside the range", 0.1, 4)

GREY, WHITE = ("126", "128", "128"), ("255", "128", "128")
# 100 % yellow by BT.709, and 20 codes brighter: R' and G' are at 109 %.
YELLOW, BRIGHT_YELLOW = ("219", "16", "138"), ("239", "16", "138")


def codes(luma, blue, red, pixels="yuv444p"):
    """Pictures whose codes are given by expressions of X, Y and N."""
    return ["-f", "lavfi", "-i", f"nullsrc=size=320x240:rate=25:duration=4,format={pixels},"
            f"geq=lum='{luma}':cb='{blue}':cr='{red}'"]


def where(condition, colour, otherwise=GREY):
    """Codes of one colour where a condition holds, and of another elsewhere."""
    return [f"if({condition},{one},{other})" for one, other in zip(colour, otherwise)]


def box(width, height, when=FAULTY):
    return f"{when}*lt(X,{width})*lt(Y,{height})"


def bars(kind, size, pixels):
    return ["-f", "lavfi", "-i", f"{kind}=size={size}:rate=25:duration=4,format={pixels}"]


def leveled(name, what, inputs, options, expected=None, small=False):
    return Clip(f"range-{name}", what, encode(inputs, options),
                {"signal-range": expected} if expected else {}, small, expected is not None,
                CHECKS_OF_RANGE)


BOX2 = codes(*where(box(48, 32), WHITE))
PATCH = codes(*where(box(40, 40), BRIGHT_YELLOW, YELLOW))

RANGE = [
    leveled("bars-100.mkv", "Bars of 100 %", bars("pal100bars", "720x576", "yuv444p"), FFV1, small=True),
    leveled("bars-75.mkv", "Bars of 75 %", bars("pal75bars", "720x576", "yuv422p"), FFV1),
    leveled("bars-hd.mkv", "Bars of HD", bars("smptehdbars", "1280x720", "yuv422p"), f"{FFV1} {HD709}"),
    leveled("bars-100-h264.mp4", "Bars of 100 %, coded", bars("pal100bars", "720x576", "yuv420p"),
            X264_FINE),
    leveled("bars-100-coarse.mp4", "Bars of 100 %, coarsely coded",
            bars("pal100bars", "720x576", "yuv420p"), X264_COARSE),
    leveled("bars-100-mpeg2.mxf", "Bars of 100 %, MPEG-2 4:2:2",
            bars("pal100bars", "720x576", "yuv422p"), MPEG2_422),
    leveled("bars-601-as-709.mkv", "Bars of 100 % by BT.601, flagged BT.709",
            bars("pal100bars", "720x576", "yuv444p"), f"{FFV1} {HD709}",
            breaks(event(0, "colours of another matrix", 0.1, 4))),
    leveled("pattern-h264.mp4", "Saturated colours with sharp edges, coded in 4:2:0",
            picture(size="720x576", seconds=4), f"-pix_fmt yuv420p {X264_FINE}"),
    leveled("yellow.mkv", "100 % yellow", codes(*YELLOW), f"{FFV1} {HD709}"),
    leveled("yellow-bright.mkv", "Yellow at 109 % in 2.1 % of the picture, for a second", PATCH,
            f"{FFV1} {HD709}", breaks(SECOND), small=True),
    leveled("yellow-bright-h264.mp4", "The same in H.264", PATCH,
            f"-pix_fmt yuv420p {X264_FINE} {HD709}", breaks(SECOND)),
    leveled("yellow-bright-422.mxf", "The same in MPEG-2 4:2:2", PATCH,
            f"-pix_fmt yuv422p {MPEG2_422} {HD709}", breaks(SECOND)),
    leveled("half-percent.mkv", "255 in 0.5 % of the picture", codes(*where(box(24, 16), WHITE)), FFV1),
    leveled("one-percent.mkv", "255 in 1 % of the picture", codes(*where(box(48, 16), WHITE)), FFV1),
    leveled("two-percent.mkv", "255 in 2 % of the picture, for a second", BOX2, FFV1, breaks(SECOND)),
    leveled("two-percent-h264.mp4", "The same in H.264", BOX2, f"-pix_fmt yuv420p {X264_FINE}",
            breaks(SECOND)),
    leveled("two-percent-rgb.mkv", "The same in RGB of full range", BOX2,
            "-pix_fmt gbrp -c:v ffv1 -g 1"),
    leveled("single-pixels.mkv", "255 in single pixels, 1 in 9",
            codes(*where("not(mod(X,3))*not(mod(Y,3))", WHITE)), FFV1, small=True),
    leveled("columns.mkv", "255 in columns of one pixel, 1 in 4",
            codes(*where("not(mod(X,4))", WHITE)), FFV1),
    leveled("rows.mkv", "0 in rows of one pixel, 1 in 4",
            codes(*where("not(mod(Y,4))", ("0", "128", "128"))), FFV1),
    leveled("double-columns.mkv", "255 in columns of two pixels, 1 in 4",
            codes(*where("lt(mod(X,8),2)", WHITE)), FFV1, breaks(ALL)),
    leveled("ramp-legal.mkv", "A ramp from 5 to 246", codes("5+241*X/319", "128", "128"), FFV1),
    leveled("ramp.mkv", "A ramp from 0 to 255", codes("255*X/319", "128", "128"), FFV1, breaks(ALL)),
    leveled("ramp-full.mkv", "A ramp from 0 to 255, flagged full range",
            codes("255*X/319", "128", "128"), f"{FFV1} -color_range pc"),
    leveled("ramp-mjpeg.avi", "A ramp from 0 to 255 in full-range JPEG",
            codes("255*X/319", "128", "128", "yuvj420p"), "-c:v mjpeg -q:v 2"),
    leveled("red-full.mkv", "Red at 117 % in full range", codes("255", "128", "160"),
            f"{FFV1} -color_range pc", breaks(ALL)),
    leveled("ten-bits.mkv", "984 and 20 in 10 bits",
            codes("if(lt(X,160),984,20)", "512", "512", "yuv422p10le"), FFV1),
    leveled("ten-bits-white.mkv", "985 in 10 bits, for a second",
            codes(f"if({FAULTY},985,984)", "512", "512", "yuv422p10le"), FFV1, breaks(SECOND)),
    leveled("ten-bits-prores.mov", "1000 in 10 bits in a quarter of the picture, for a second",
            codes(f"if({box(160, 120)},1000,500)", "512", "512", "yuv422p10le"), PRORES,
            breaks(SECOND)),
    leveled("black.mkv", "4 for a second", codes(f"if({FAULTY},4,5)", "128", "128"), FFV1,
            breaks(SECOND)),
]
