"""Clips with a fault each, put in at a known time."""

from good_clips import *  # noqa: F403: the same words

LATER = breaks()  # the events are known when the clip is made


def fault(name, what, make, small=False, **expect):
    return Clip(name, what, make, {check.replace("_", "-"): wanted for check, wanted in expect.items()},
                small, faulty=True)


FEWER_THAN_REORDERED = undecided("as many frames may lie between a GOP's header and its first picture")


def missing(name, source, first, count, options="", small=False, rate=25.0, tolerance=0.06,
            **also):
    """Pictures `first` to `first + count - 1` of a constant rate are not there."""
    if "mpeg2" in source:
        also["start_timecode"] = breaks(event((first - 1) / rate, "the timecode jumps", 0.5)) \
            if count > 4 else FEWER_THAN_REORDERED
    return fault(name, f"{count} pictures missing at {first / rate:.2f} s", copied(
        source, f"-bsf:v noise=drop='between(n,{first},{first + count - 1})' {options}"), small,
        frame_timing=breaks(event((first - 1) / rate, f"{count} pictures missing", tolerance,
                                  (first + count) / rate)), **also)


DECODER_MAY_MISS_IT = undecided("a picture that others refer to is not there")
SOUND_GOES_ALONG = undecided("sound is stamped with the pictures")

TIMING = [
    *(missing(f"missing-{count}-{source.split('.')[0][5:]}.{source.split('.')[1]}", source, 60 + count,
              count, small=small)
      for source, count, small in (
          ("base-intra.mp4", 1, False), ("base-intra.mp4", 2, False), ("base-intra.mp4", 10, False),
          ("base-intra.mkv", 1, False), ("base-intra.mkv", 2, False), ("base-intra.mkv", 10, False),
          ("base-mjpeg.mov", 1, False), ("base-mjpeg.mov", 10, False),
          ("base-mpeg2-intra.ts", 1, False), ("base-mpeg2-intra.ts", 2, False),
          ("base-mpeg2-intra.ts", 10, False), ("base-prores.mov", 2, False),
          ("base-mjpeg.avi", 2, False), ("base-ffv1.mkv", 25, False))),
    missing("missing-1-reference.mkv", "base-h264.mkv", 80, 1, decoding=DECODER_MAY_MISS_IT, small=True,
            tolerance=0.2),
    missing("missing-25-gop.mp4", "base-h264.mp4", 75, 25, decoding=DECODER_MAY_MISS_IT),
    missing("missing-12-gop.ts", "base-mpeg2.ts", 94, 12, decoding=DECODER_MAY_MISS_IT),
    missing("missing-1-coarse.mkv", "h264-2997-no-b.mkv", 60, 1, rate=30000 / 1001,
            decoding=DECODER_MAY_MISS_IT),
    fault("missing-many.mkv", "A picture missing in every 25", copied(
        "base-intra.mkv", "-bsf:v noise=drop='eq(mod(n,25),24)'"),
        frame_timing=breaks(*(event(23 / 25 + second, "a picture missing", 0.06, 1 + second)
                              for second in range(7)))),
    fault("later-by-3.mkv", "From 4 s on all pictures are 3 pictures late", copied(
        "base-intra.mkv", "-bsf:v setts=ts='TS+if(gte(N,100),120,0)'"),
        frame_timing=breaks(event(3.96, "a gap of 3 pictures", 0.06, 4.12))),
    fault("later-by-half.mp4", "One picture is 0.7 pictures late, so the one after it stands 0.3 behind",
          copied("base-intra.mp4", "-bsf:v setts=ts='TS+if(eq(N,100),0.028/TB,0)'"),
          frame_timing=breaks(event(3.96, "a distance of 1.7 pictures", 0.06, 4.04))),
    fault("twice-intra.mkv", "Two pictures of one time stamp", copied(
        "base-intra.mkv", "-bsf:v setts=ts='TS-if(eq(N,100),40,0)'"),
        frame_timing=breaks(event(3.96, "a distance of 0", 0.06, 4.04))),
    fault("twice-ffv1.mkv", "Two pictures of one time stamp", copied(
        "base-ffv1.mkv", "-bsf:v setts=ts='TS-if(eq(N,50),40,0)'"),
        frame_timing=breaks(event(1.96, "a distance of 0", 0.06, 2.04))),
    fault("back-0.5.mkv", "A cluster is stamped half a second early",
          patched("base-h264.mkv", move_cluster(4, -0.5)), small=True,
          frame_timing=LATER, length=SOUND_GOES_ALONG),
    fault("back-2.mkv", "A cluster is stamped two seconds early",
          patched("base-intra.mkv", move_cluster(4, -2)), frame_timing=LATER,
          length=SOUND_GOES_ALONG),
    fault("joined.ts", "Two transport streams in a row, each from its own start", joined(
        "base-mpeg2-intra.ts", "base-mpeg2-intra.ts"),
        frame_timing=breaks(event(0, "back to the start", 0.1, 8.04)),
        start_timecode=breaks(event(0, "the timecode jumps back", 0.5, 8.04)),
        length=undecided("what a joined file declares is not said"),
        decoding=undecided("continuity counters may fit by chance")),
    *(fault(f"rate-{name}", f"{real} pictures a second, declared {declared}", copied(
        source, f"-bsf:v setts=pts='PTS*{factor}':dts='DTS*{factor}' -bsf:a setts=ts='TS*{factor}'"),
        frame_timing=breaks(event(0, "the rate is another", 1e9)),
        length=undecided("sound is stamped slower than it plays"),
        decoding=undecided("sound is stamped slower than it plays"))
      for name, source, real, declared, factor in (
          ("24-for-25.mkv", "base-ffv1.mkv", "24", "25", "25/24"),
          ("24-for-25.ts", "base-mpeg2.ts", "24", "25", "25/24"),
          ("23.976-for-24.ts", "film-24.ts", "23.976", "24", "1001/1000"),
          ("29.97-for-30.ts", "ntsc-30.ts", "29.97", "30", "1001/1000"))),
]

LENGTH = [
    *(fault(f"sound-late.{kind}", "Sound begins 2 s after the picture", encode(
        picture(seconds=6) + ["-itsoffset", "2"] + tone(4), f"{video} {audio}"), kind == "mp4",
        length=breaks(event(0, "no sound yet", 0.2, 2)))
      for kind, video, audio in (("mp4", X264, AAC), ("mkv", X264, AC3), ("ts", X264, MP2),
                                 ("mov", "-pix_fmt yuvj420p -c:v mjpeg", PCM))),
    *(fault(f"sound-short.{kind}", "Sound ends 3 s before the picture", encode(
        picture(seconds=7) + tone(4), f"{video} {audio}"), kind == "mkv",
        length=breaks(event(4, "no sound any more", 0.2, 7)))
      for kind, video, audio in (("mp4", X264, AAC), ("mkv", X264, AC3), ("ts", X264, MP2),
                                 ("avi", "-pix_fmt yuvj420p -c:v mjpeg", PCM))),
    *(fault(f"picture-short.{kind}", "The picture ends 3 s before the sound", encode(
        picture(seconds=4) + tone(7), f"{video} {audio}"),
        length=breaks(event(4, "no picture any more", 0.2, 7)))
      for kind, video, audio in (("mp4", X264, AAC), ("mkv", X264, AC3), ("ts", X264, MP2))),
    fault("second-sound-short.mkv", "The second stream of sound ends 3 s before the picture", encode(
        picture(seconds=7) + tone(7) + tone(4), f"-map 0 -map 1 -map 2 {X264} {AC3}"),
        length=breaks(event(4, "no sound any more", 0.2, 7))),
    fault("declared-double.mp4", "All headers declare twice the duration",
          patched("base-h264.mp4", scale_mp4_durations(2)), small=True,
          length=breaks(event(8, "declared 16 s", 0.5, 16))),
    fault("declared-1.5.mov", "All headers declare 1.5 times the duration",
          patched("base-prores.mov", scale_mp4_durations(1.5)),
          length=breaks(event(8, "declared 12 s", 0.5, 12))),
    fault("declared-double.mkv", "The segment declares twice the duration",
          patched("base-h264.mkv", scale_mkv_duration(2)),
          length=breaks(event(8, "declared 16 s", 0.5, 16))),
    fault("declared-double.webm", "The segment declares twice the duration",
          patched("base-vp9.webm", scale_mkv_duration(2)),
          length=breaks(event(8, "declared 16 s", 0.5, 16))),
    fault("declared-double.flac", "The stream information declares twice the samples",
          patched("base.flac", double_flac_samples), streams=NO_PICTURE["streams"],
          length=breaks(event(8, "declared 16 s", 0.5, 16)),
          decoding=undecided("fewer samples than declared may be called truncated")),
]

# The same clip, cut: whether the rest is missing can be known where something declares it.
STAMPS_OF_THE_REST = undecided("the last pictures may lack those that they refer to")
CUT = [
    *(fault(f"cut-{int(share * 100)}-{source[5:] if source.startswith('base-') else source}",
            f"Cut at {int(share * 100)} % of the bytes",
            cut(source, share, "a:0" if not_picture else "v:0"), small,
            decoding=LATER, frame_timing=STAMPS_OF_THE_REST,
            **({"length": breaks()} if declared and share < 0.8 else
               {} if share > 0.8 else {"length": undecided("nothing declares a duration")}),
            **({"streams": NO_PICTURE["streams"]} if not_picture else {}))
      for source, share, declared, not_picture, small in (
          ("base-h264.mp4", 0.5, True, False, True), ("base-h264.mp4", 0.9, True, False, False),
          ("base-h264.mkv", 0.5, True, False, True), ("base-h264.mkv", 0.9, True, False, False),
          ("base-h264.ts", 0.5, False, False, True), ("base-h264.ts", 0.9, False, False, False),
          ("base-mpeg2.ts", 0.5, False, False, False), ("base-mpeg2.mpg", 0.5, False, False, False),
          ("base-mjpeg.avi", 0.5, True, False, False), ("base-mjpeg.avi", 0.9, True, False, False),
          ("base-mpeg2.mxf", 0.5, True, False, False), ("base-mpeg2.mxf", 0.9, True, False, False),
          ("base-prores.mov", 0.5, True, False, False), ("base-vp9.webm", 0.5, True, False, False),
          ("base-hevc.mp4", 0.9, True, False, False), ("base-dv.dv", 0.5, False, False, False),
          ("base.wav", 0.5, True, True, False), ("base.wav", 0.9, True, True, False),
          ("base.flac", 0.5, True, True, False), ("base.mp3", 0.5, True, True, False))),
    fault("cut-index.mp4", "Cut at 90 % of the bytes, the index was at the end: nothing can be read",
          cut_index("h264-2997.mp4", 0.9), streams=undecided("does not open"),
          decoding=undecided("does not open"), length=undecided("does not open"),
          frame_timing=undecided("does not open"), start_timecode=undecided("does not open")),
]

# Track, time and flags of a block of Matroska.
BLOCK_HEAD = 4

NOISE = [
    *(fault(f"bits-{name}", f"{what} at {seconds} s", damaged(
                source, seconds, harm, stream, key, tolerance=1 if name.startswith("element") else 0.5),
            small, decoding=LATER, frame_timing=STAMPS_OF_THE_REST,
            **({"streams": NO_PICTURE["streams"]} if source.startswith("base.") else {}))
      for name, source, what, seconds, harm, stream, key, small in (
          ("h264.mp4", "base-h264.mp4", "A key picture with inverted bytes", 3, inverted(0.2, 40, 5), "v:0", True, True),
          ("h264.mkv", "base-h264.mkv", "A picture with inverted bytes", 4.2, inverted(0.2, 40, 5), "v:0", False, False),
          ("h264-zeros.mp4", "base-h264.mp4", "A key picture with zeros", 4, zeroed(), "v:0", True, False),
          ("h264-intra.mp4", "base-intra.mp4", "A picture with inverted bytes", 5, inverted(0.1, 60, 3), "v:0", False, False),
          ("hevc.mp4", "base-hevc.mp4", "A key picture with inverted bytes", 3, inverted(0.2, 60, 5), "v:0", True, False),
          ("mpeg2.mpg", "base-mpeg2.mpg", "A key picture with inverted bytes", 3.5, inverted(0.2, 40, 3), "v:0", True, True),
          ("mpeg2.mxf", "base-mpeg2.mxf", "A key picture with inverted bytes", 3.5, inverted(0.2, 40, 3), "v:0", True, False),
          ("mpeg2-zeros.mxf", "base-mpeg2.mxf", "A key picture with zeros", 4, zeroed(), "v:0", True, False),
          ("prores.mov", "base-prores.mov", "A picture with inverted bytes", 4, inverted(0.02, 400, 11), "v:0", False, False),
          ("prores-zeros.mov", "base-prores.mov", "A picture with zeros", 4, zeroed(0.01, 0.5), "v:0", False, False),
          ("mjpeg.mov", "base-mjpeg.mov", "A picture with inverted bytes", 4, inverted(0.2, 60, 5), "v:0", False, False),
          ("mjpeg.avi", "base-mjpeg.avi", "A picture with zeros", 4, zeroed(), "v:0", False, False),
          ("ffv1.mkv", "base-ffv1.mkv", "A picture with an inverted byte: the checksum says it", 4, inverted(0.5, 1), "v:0", False, False),
          ("mpeg4.avi", "base-mpeg4.avi", "A key picture with inverted bytes", 4, inverted(0.1, 60, 3), "v:0", True, False),
          ("vp9.webm", "base-vp9.webm", "A picture whose head is zeros", 4, behind(BLOCK_HEAD, zeroed(0, 0.3)), "v:0", False, False),
          ("vp8.webm", "base-vp8.webm", "A picture whose head is zeros", 4, behind(BLOCK_HEAD, zeroed(0, 0.3)), "v:0", False, False),
          ("element.webm", "base-vp8.webm", "The head of a block of the container is zeros", 4, zeroed(0, 0.3), "v:0", False, False),
          ("dv.dv", "base-dv.dv", "A picture with zeros", 2, zeroed(), "v:0", False, False),
          ("aac.mp4", "base-h264.mp4", "Sound with inverted bytes", 4, inverted(0, 60, 2), "a:0", False, True),
          ("ac3.mkv", "base-h264.mkv", "Sound with an inverted byte: the checksum says it", 4, inverted(0.5, 1), "a:0", False, False),
          ("flac.mkv", "base-ffv1.mkv", "Sound with an inverted byte: the checksum says it", 4, inverted(0.5, 1), "a:0", False, False),
          ("flac.flac", "base.flac", "Sound with an inverted byte: the checksum says it", 4, inverted(0.5, 1), "a:0", False, False),
          ("mp3.mp3", "base.mp3", "A frame of zeros, also its head", 4, zeroed(0, 1), "a:0", False, False),
          ("ac3.ac3", "base.ac3", "Sound with an inverted byte: the checksum says it", 4, inverted(0.5, 1), "a:0", False, False))),
    fault("bits-hevc-zeros.mp4", "A key picture with zeros at 3 s",
          damaged("base-hevc.mp4", 3, zeroed(), key=True),
          decoding=undecided("zeros may be read as a whole slice"), frame_timing=STAMPS_OF_THE_REST),
    *(fault(f"ts-{name}", f"{what} at 3 s", ts_inside(source, 3, count, act, what), small,
            decoding=LATER, frame_timing=STAMPS_OF_THE_REST)
      for name, source, what, count, act, small in (
          ("lost-1-h264.ts", "base-h264.ts", "A transport packet lost", 1, lose, True),
          ("lost-3-h264.ts", "base-h264.ts", "Three transport packets lost", 3, lose, False),
          ("lost-1-mpeg2.ts", "base-mpeg2-intra.ts", "A transport packet lost", 1, lose, False),
          ("marked-mpeg2.ts", "base-mpeg2-intra.ts", "Transport packets marked as erroneous", 3,
           mark_errors, False),
          ("bits-mpeg2.ts", "base-mpeg2-intra.ts", "Transport packets with inverted bytes", 3,
           invert_payload, False),
          ("bits-h264.ts", "base-h264.ts", "Transport packets with inverted bytes", 1, invert_payload,
           False))),
]

STREAMS = [
    fault("no-sound.mp4", "A picture without sound", encode(picture(), X264), True, **NO_SOUND),
    fault("no-sound.mxf", "A picture without sound", encode(picture(), XDCAM + " -g 12"), **NO_SOUND),
    fault("no-sound.ts", "A picture without sound", encode(picture(), MPEG2), **NO_SOUND),
    fault("no-picture.mp4", "Sound without a picture", encode(tone(), AAC), True, **NO_PICTURE),
    fault("no-picture.mkv", "Sound without a picture", encode(tone(), AC3), **NO_PICTURE),
    fault("no-picture.ts", "Sound without a picture", encode(tone(), MP2), **NO_PICTURE),
]

TIMECODE = [
    fault("gop-timecode-jump.mpg", "The timecodes of the GOPs jump by an hour at 3.84 s",
          patched("base-mpeg2.mpg", jump_gop_timecodes(8, 1)), small=True,
          start_timecode=breaks(event(3.84, "an hour missing", 0.5))),
    fault("gop-timecode-drop.mpg", "Timecodes of the GOPs, drop-frame at 25 fps",
          patched("base-mpeg2.mpg", drop_frame_gops),
          start_timecode=breaks(event(0, "25 fps has no drop-frame", 1e9))),
    fault("timecode-drop.mov", "Timecode track, drop-frame at 25 fps",
          patched("base-timecode.mov", drop_frame_flag), small=True,
          start_timecode=breaks(event(0, "25 fps has no drop-frame", 1e9))),
]

FAULTY = TIMING + LENGTH + CUT + NOISE + STREAMS + TIMECODE
