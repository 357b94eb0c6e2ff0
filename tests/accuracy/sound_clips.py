"""Sound without a fault and with one, whose place, length and level are known to the sample."""

from good_clips import XDCAM
from recipe import *  # noqa: F403: a recipe is a sentence of these words
from sound_sources import MUSIC, NOISE, RATE, SECONDS, SPEECH

# How a clip is coded, and how near its places are known: a sample and the rounding of decimals, or
# what a lossy codec smears and delays.
EXACT, LOSSY = 1.5 / RATE, 0.03
CODECS = {"s16.wav": ("-c:a pcm_s16le", EXACT), "s24.mov": ("-c:a pcm_s24le", EXACT),
          "aac.mp4": ("-c:a aac -b:a 192k", LOSSY), "ac3.ts": ("-c:a ac3 -b:a 256k", LOSSY),
          "mp2.ts": ("-c:a mp2 -b:a 256k", LOSSY)}
# Over this the ends of a span out of phase are looked for, in cells of 10 ms.
PHASE = 0.03
ALL = 1e9
WAV = "s16.wav"

CODED = undecided("a lossy codec hides it")
LOUDNESS_UNKNOWN = undecided("its loudness is not known")
MEAN_UNKNOWN = undecided("what is cut on one side only moves the mean")
PEAK_UNKNOWN = undecided("its true peak is not known")


@made_of
def shaped(source, filters, options):
    """A recipe: a clip through filters; [in] and [out] if there are several ways."""
    def make(folder, path):
        way = ["-filter_complex", filters] if "[0" in filters else ["-af", filters]
        ffmpeg("-i", folder / source, *way, *options.split(), *BITEXACT, path)
    return make


def each(expression, other=None, channels="stereo"):
    """A filter that computes each sample: X is the sample of the side, n its number."""
    both = (expression, other or expression)
    words = "|".join(one.replace("X", f"val({side})") for side, one in enumerate(both))
    return f"aeval='{words}':c={channels},aformat=channel_layouts={channels}"


def during(spans, then, otherwise="X"):
    """An expression of spans of samples, the end exclusive."""
    inside = "+".join(f"between(n,{begin},{end - 1})" for begin, end in spans)
    return f"if({inside},{then},{otherwise})"


def sounding(name, what, make, faulty=False, small=False, **expect):
    return Clip(name, what, make, {check.replace("_", "-"): wanted for check, wanted in expect.items()},
                small, faulty, SOUND_CHECKS)


def span(begin, end, what, tolerance):
    """A fault of samples, with both its ends."""
    return event(begin / RATE, what, tolerance, end / RATE, ends=True)


def throughout(what):
    return event(0, what, 0.1, SECONDS)


class Fault:
    """A fault that is put into a material and coded: what it is, how, and what is to be said of it.

    `expect` takes the tolerance of the codec.
    """

    def __init__(self, name, what, filters, expect):
        self.name, self.what, self.filters, self.expect = name, what, filters, expect

    def clip(self, material, codec, small=False):
        options, tolerance = CODECS[codec]
        return sounding(f"audio-{self.name}-{material}-{codec}", f"{self.what} ({material})",
                        shaped(f"audio-{material}.flac", self.filters, options), True, small,
                        **self.expect(tolerance))


def only_lossless(tolerance, expected):
    return expected if tolerance == EXACT else CODED


# Places that nothing in the sources lies on.
SILENT = (592589, 592589 + 3 * RATE)
LOST = (561640, 561640 + 6 * RATE)
TURNED = (503777, 503777 + 5 * RATE)
LOUD = (480000, 960000)
ZEROS = [(begin, begin + round(RATE * length))
         for begin, length in ((256037, 0.002), (448841, 0.005), (704123, 0.02), (940399, 0.1))]
DROPPED = lambda tolerance: {  # noqa: E731
    "dropouts": only_lossless(tolerance, breaks(*(span(*zeros, "zeros", tolerance) for zeros in ZEROS)))}
FULL = "clip(8*X,-1,1)"
FLAT = "clip(8*X,-0.891251,0.891251)"
FULL_SCALE = {"programme_loudness": LOUDNESS_UNKNOWN, "sample_levels": MEAN_UNKNOWN,
              "true_peak": breaks(event(10, "full scale", 1, 20))}
FLAT_TOPS = {"programme_loudness": LOUDNESS_UNKNOWN, "sample_levels": MEAN_UNKNOWN,
             "true_peak": undecided("what was cut is higher between the samples")}
# At a quarter of the sample rate, 45 degrees off: the samples are 3 dB below the peak.
BETWEEN = ("0.98*sin(PI/2*n+PI/4)*clip((t-20)/0.02,0,1)*clip((21-t)/0.02,0,1)")

FAULTS = [
    Fault("silence", "3 s of digital silence", each(during([SILENT], "0")), lambda tolerance: {
        "silence": breaks(span(*SILENT, "silence", tolerance))}),
    Fault("silence-70", "3 s of noise at -70 dBFS", each(during([SILENT], "0.000316*(2*random(0)-1)")),
          lambda tolerance: {"silence": breaks(span(*SILENT, "silence", tolerance))}),
    Fault("lost", "The left side is lost for 6 s", each(during([LOST], "0"), "X"), lambda tolerance: {
        "programme_loudness": LOUDNESS_UNKNOWN,
        "channels": breaks(span(*LOST, "left is lost", tolerance))}),
    Fault("lost-70", "The right side is noise at -70 dBFS for 6 s",
          each("X", during([LOST], "0.000316*(2*random(0)-1)")), lambda tolerance: {
              "programme_loudness": LOUDNESS_UNKNOWN,
              "channels": breaks(span(*LOST, "right is lost", tolerance))}),
    Fault("dead", "The right side is silent throughout", each("X", "0*X"), lambda tolerance: {
        "programme_loudness": breaks(throughout("about 3 LU too quiet")),
        "channels": breaks(throughout("right is silent"))}),
    Fault("clipped", "Clipped at full scale from 10 to 20 s", each(during([LOUD], FULL)),
          lambda tolerance: {**FULL_SCALE, "clipping": only_lossless(
              tolerance, breaks(event(10, "clipped", 0.5, 20)))}),
    Fault("flat", "Clipped at -1 dBFS throughout", each(FLAT), lambda tolerance: {
        **FLAT_TOPS, "clipping": only_lossless(tolerance, breaks(throughout("flat tops")))}),
    Fault("flat-part", "Clipped at -1 dBFS from 10 to 20 s", each(during([LOUD], FLAT)),
          lambda tolerance: {**FLAT_TOPS, "clipping": only_lossless(
              tolerance, breaks(event(10, "flat tops", 0.5, 20)))}),
    Fault("turned", "The right side is inverted for 5 s", each("X", during([TURNED], "-X")),
          lambda tolerance: {"polarity": breaks(span(*TURNED, "inverted", PHASE))}),
    Fault("against", "The right side is inverted throughout", each("X", "-X"), lambda tolerance: {
        "polarity": breaks(throughout("inverted"))}),
    Fault("zeros", "Zeros of 2, 5, 20 and 100 ms", each(during(ZEROS, "0")), DROPPED),
    Fault("zeros-right", "Zeros of 2, 5, 20 and 100 ms on the right", each("X", during(ZEROS, "0")),
          DROPPED),
    Fault("offset", "Both sides are 2 % off zero", each("X+0.02"), lambda tolerance: {
        "sample_levels": breaks(throughout("off zero"))}),
    Fault("loud", "3 LU too loud", "volume=3dB:precision=double", lambda tolerance: {
        "programme_loudness": breaks(throughout("too loud"))}),
    Fault("quiet", "3 LU too quiet", "volume=-3dB:precision=double", lambda tolerance: {
        "programme_loudness": breaks(throughout("too quiet"))}),
    Fault("between", "A tone whose samples are at -3.2 dBFS and whose peak is at -0.2 dBTP",
          each(f"if(between(t,20,21),{BETWEEN},X)"), lambda tolerance: {
              "programme_loudness": LOUDNESS_UNKNOWN,
              "true_peak": breaks(event(20, "above -1 dBTP", 0.05, 21))}),
]

UNCORRELATED = {"against", "turned"}
SMALL = {"silence", "lost", "clipped", "zeros", "quiet"}
# Of speech and noise, in one codec: what does not depend on the codec. Noise that differs from side
# to side looks the same inverted.
FAULTY = [fault.clip("music", codec)
          for fault in FAULTS for codec in CODECS]
FAULTY += [fault.clip(material, WAV, material == "noise" and fault.name in SMALL)
           for material in ("speech", "noise") for fault in FAULTS
           if not (material == "noise" and fault.name in UNCORRELATED)]

# Opus takes so long to be silent.
SLOW = 0.06
# Where sound begins late, has priming, or misses packets: the places are those of the time stamps.
PLACED = each(during([SILENT], "0"))
PICTURE_BESIDE = "testsrc2=size=320x240:rate=25:duration=31[v]"
for kind, options in (("opus.mkv", "-c:a libopus"), ("vorbis.ogg", "-c:a libvorbis"),
                      ("mp3.mp3", "-c:a libmp3lame -b:a 256k"), ("mp3.mkv", "-c:a libmp3lame -b:a 256k"),
                      ("eac3.mp4", "-c:a eac3"), ("alac.m4a", "-c:a alac"),
                      ("aiff.aiff", "-c:a pcm_s24be"), ("caf.caf", "-c:a pcm_s16le")):
    FAULTY.append(sounding(
        f"audio-silence-{kind}", "3 s of digital silence", shaped("audio-music.flac", PLACED, options), True,
        silence=breaks(span(*SILENT, "silence", EXACT if kind[:4] in ("alac", "aiff", "caf.") else
                            SLOW if "opus" in kind else LOSSY))))
FAULTY += [
    sounding("audio-behind-picture.mp4", "Sound begins 0.5 s after the picture; 3 s of digital silence",
             shaped("audio-music.flac", f"[0:a]{PLACED},asetpts=PTS+0.5/TB[a];{PICTURE_BESIDE}",
                    "-map [v] -map [a] -pix_fmt yuv420p -c:v libx264 -preset veryfast -c:a aac -b:a 192k"), True,
             silence=breaks(event(SILENT[0] / RATE + 0.5, "silence", LOSSY, SILENT[1] / RATE + 0.5, True))),
    Clip("audio-edit-list.mp4", "Begins at 2.48 s by an edit list; 3 s of digital silence",
         copied("audio-behind-picture.mp4", "", "-ss 2.48"), {"silence": breaks(event(
             SILENT[0] / RATE + 0.5 - 2.48, "silence", LOSSY, SILENT[1] / RATE + 0.5 - 2.48, True)),
             "programme-loudness": LOUDNESS_UNKNOWN}, faulty=True, checks=SOUND_CHECKS),
    # A player goes by the time stamps: nothing is heard meanwhile. Blocks of MP2 last 24 ms.
    Clip("audio-gap.ts", "4 s of the packets of sound are not there; 3 s of digital silence after that",
         copied("audio-silence-music-mp2.ts", "-bsf:a noise=drop='between(n,100,266)'"), {
             "silence": breaks(span(*SILENT, "silence", LOSSY)),
             "dropouts": breaks(event(2.4, "no sound", LOSSY, 6.408, True)),
             "programme-loudness": LOUDNESS_UNKNOWN},
         faulty=True, checks=SOUND_CHECKS),
    Clip("audio-tracks-gap.ts", "Two mono tracks, one inverted; 6 s of its packets are not there",
         copied("audio-tracks-against-mp2.ts", "-bsf:a:1 noise=drop='between(n,300,549)'"), {
             "channels": breaks(event(7.2, "right is lost", LOSSY, 13.2, True)),
             "polarity": breaks(event(1, "inverted", 0, 7), event(14, "inverted", 0, 29)),
             "programme-loudness": LOUDNESS_UNKNOWN, "dropouts": undecided("it is too long for one")},
         faulty=True, checks=SOUND_CHECKS),
    sounding("audio-silence.mxf", "3 s of digital silence", shaped(
        "audio-music.flac", f"[0:a]{PLACED}[a];testsrc2=size=320x240:rate=25:duration=30[v]",
        f"-map [v] -map [a] {XDCAM} -g 12 -bf 2 -c:a pcm_s24le"), True,
        silence=breaks(span(*SILENT, "silence", EXACT))),
    sounding("audio-tracks-shifted.mov", "Two mono tracks, one inverted, which begins 0.3 s later",
             shaped("audio-music.flac", "[0:a]asplit[one][two];[one]pan=mono|c0=c0[l];[two]pan=mono|c0=-1*c1,"
                    "atrim=start=0.3[r]", "-map [l] -map [r] -c:a pcm_s24le"), True,
             polarity=undecided("tracks of other lengths may not be a pair"), programme_loudness=LOUDNESS_UNKNOWN),
    # What the rules may not see.
    sounding("audio-silence-offset.wav", "3 s of silence, all 2 % off zero",
             shaped("audio-music.flac", each(during([SILENT], "0.02", "X+0.02")), "-c:a pcm_s16le"), True,
             silence=undecided("its samples are at -34 dBFS"), sample_levels=breaks(throughout("off zero"))),
    sounding("audio-held.wav", "The last value is held for 2, 5, 20 and 100 ms",
             shaped("audio-music.flac", "aeval='" + "|".join(
                 f"st({side},{during(ZEROS, f'ld({side})', f'val({side})')})" for side in (0, 1))
                 + "':c=stereo,aformat=channel_layouts=stereo", "-c:a pcm_s16le"), True,
             dropouts=undecided("these are no zeros")),
    sounding("audio-zeros-resampled.wav", "Zeros of 2, 5, 20 and 100 ms, then taken to 44.1 kHz",
             shaped("audio-music.flac", each(during(ZEROS, "0")) + ",aresample=44100", "-c:a pcm_s16le"), True,
             dropouts=undecided("the filter rings into the zeros")),
    sounding("audio-zeros-quieter.wav", "Zeros of 2, 5, 20 and 100 ms, then 12 dB less",
             shaped("audio-music.flac", each(during(ZEROS, "0")) + ",volume=-12dB", "-c:a pcm_s16le"), True,
             programme_loudness=LOUDNESS_UNKNOWN,
             dropouts=breaks(*(span(*zeros, "zeros", EXACT) for zeros in ZEROS))),
    sounding("audio-zeros-dithered.wav", "Zeros of 2, 5, 20 and 100 ms under dither",
             shaped("audio-music.flac", each(during(ZEROS, "0")) + ",aresample=osf=s16:dither_method=triangular",
                    "-c:a pcm_s16le"), True, dropouts=undecided("under dither there are no zeros")),
    sounding("audio-flat-quieter.wav", "Clipped at full scale, then 6 dB less",
             shaped("audio-music.flac", each(FULL) + ",volume=-6dB", "-c:a pcm_s16le"), True,
             programme_loudness=LOUDNESS_UNKNOWN, sample_levels=MEAN_UNKNOWN, true_peak=PEAK_UNKNOWN,
             clipping=breaks(throughout("flat tops"))),
    sounding("audio-flat-light.wav", "3 dB of the peaks clipped at -1 dBFS",
             shaped("audio-music.flac", "volume=8.5dB:precision=double," + each("clip(X,-0.891251,0.891251)"),
                    "-c:a pcm_s16le"), True,
             programme_loudness=LOUDNESS_UNKNOWN, sample_levels=MEAN_UNKNOWN, true_peak=PEAK_UNKNOWN,
             clipping=breaks(throughout("flat tops"))),
    sounding("audio-flat-dithered.wav", "Clipped at -1 dBFS, then dithered",
             shaped("audio-music.flac", each(FLAT) + ",aresample=osf=s16:dither_method=triangular",
                    "-c:a pcm_s16le"), True, programme_loudness=LOUDNESS_UNKNOWN, sample_levels=MEAN_UNKNOWN,
             true_peak=PEAK_UNKNOWN, clipping=undecided("dither hides it")),
    sounding("audio-5.1-surrounds-against.wav", "5.1, the surrounds are against each other",
             shaped("audio-music.flac", "pan=5.1|FL=FL|FR=FR|FC=0.4*FL+0.4*FR|LFE=0.2*FL|BL=0.5*FL|BR=-0.5*FR",
                    "-c:a pcm_s24le"), True, programme_loudness=LOUDNESS_UNKNOWN,
             polarity=undecided("left and right alone are looked at")),
    sounding("audio-5.1-turned.wav", "5.1, the right side is inverted for 5 s",
             shaped("audio-music.flac", each("X", during([TURNED], "-X"))
                    + ",pan=5.1|FL=FL|FR=FR|FC=0.4*FL+0.4*FR|LFE=0.2*FL|BL=0.5*FL|BR=0.5*FL", "-c:a pcm_s24le"),
             True, programme_loudness=LOUDNESS_UNKNOWN, polarity=breaks(span(*TURNED, "inverted", PHASE))),
]

# So many that some begin or end where the sound is nearly zero anyway.
MANY = [(24007 + 21011 * number, 24007 + 21011 * number + 96) for number in range(64)]
FAULTY += [Fault("zeros-many", "64 times zeros of 2 ms", each(during(MANY, "0")), lambda tolerance: {
    "dropouts": breaks(*(span(*zeros, "zeros", tolerance) for zeros in MANY))}).clip(material, WAV)
           for material in ("music", "noise")]

FAULTY += [sounding(f"audio-zeros-{rate}.wav", f"Zeros of 2, 5, 20 and 100 ms at {rate} Hz",
                    shaped("audio-music.flac", f"aresample={rate},{each(during(places, '0'))}", "-c:a pcm_s24le"),
                    True, dropouts=breaks(*(event(begin / rate, "zeros", 1.5 / rate, end / rate, True)
                                            for begin, end in places)))
           for rate in (32000, 44100, 96000)
           for places in [[(begin * rate // RATE, begin * rate // RATE + (end - begin) * rate // RATE)
                           for begin, end in ZEROS]]]
FAULTY += [
    sounding("audio-against-wide.wav", "Wide music, the right side is inverted throughout",
             shaped("audio-music.flac", each("1.9*val(0)-0.9*val(1)", "-1.9*val(1)+0.9*val(0)"), "-c:a pcm_s16le"),
             True, programme_loudness=LOUDNESS_UNKNOWN, true_peak=PEAK_UNKNOWN,
             polarity=undecided("left and right have little in common")),
    sounding("audio-lost-in-pause.wav", "From a pause of speech on, the left side is lost for 6.3 s",
             shaped("audio-speech.flac", each(during([(480000, 782400)], "0"), "X"), "-c:a pcm_s16le"), True,
             programme_loudness=LOUDNESS_UNKNOWN,
             channels=breaks(event(9.5, "left is lost, from the pause on or from its end", 0.1, 16.5))),
]

# Two tracks of one channel each, of which one is inverted; their places declared, and not.
PLACED_TRACKS = "[0:a]channelsplit[l][right];[right]volume=-1:precision=double[r]"
TRACKS = "[0:a]asplit[one][two];[one]pan=mono|c0=c0[l];[two]pan=mono|c0=-1*c1[r]"
FAULTY += [
    *(sounding(f"audio-tracks-against-{codec}", "Two mono tracks, one inverted",
               shaped("audio-music.flac", tracks, f"-map [l] -map [r] {CODECS[codec][0]}"), True,
               polarity=breaks(throughout("inverted")))
      for codec, tracks in (("s24.mov", PLACED_TRACKS), ("aac.mp4", TRACKS), ("ac3.ts", TRACKS),
                            ("mp2.ts", TRACKS))),
    sounding("audio-tracks-against.mkv", "Two mono tracks, one inverted",
             shaped("audio-music.flac", TRACKS, "-map [l] -map [r] -c:a flac"), True,
             polarity=breaks(throughout("inverted"))),
    sounding("audio-tracks-lost-s24.mov", "Two mono tracks, one is silent for 6 s",
             shaped("audio-music.flac", f"[0:a]{each('X', during([LOST], '0'))},channelsplit[l][r]",
                    "-map [l] -map [r] -c:a pcm_s24le"), True,
             programme_loudness=LOUDNESS_UNKNOWN, channels=breaks(span(*LOST, "lost", EXACT))),
    sounding("audio-silent.wav", "All silent", shaped("audio-music.flac", "volume=0", "-c:a pcm_s16le"),
             True, silence=breaks(throughout("silent")), channels=breaks(throughout("silent"))),
    sounding("audio-silent-head.wav", "Silent for the first 12 s",
             shaped("audio-music.flac", each(during([(0, 12 * RATE + 13)], "0")), "-c:a pcm_s16le"), True,
             silence=breaks(span(0, 12 * RATE + 13, "silence", EXACT))),
    *(sounding(f"audio-silence-late-{kind}.ts", f"3 s of digital silence, the file begins at {start} s",
               shaped("audio-music.flac", each(during([SILENT], "0")),
                      f"-c:a mp2 -b:a 256k -output_ts_offset {start}"), True,
               silence=breaks(span(*SILENT, "silence", LOSSY)))
      for kind, start in (("hours", 66013), ("wrap", 95430))),
    sounding("audio-behind-picture.ts", "Sound begins 0.5 s after the picture; 3 s of digital silence",
             shaped("audio-music.flac", f"[0:a]{each(during([SILENT], '0'))},asetpts=PTS+0.5/TB[a];"
                    "testsrc2=size=320x240:rate=25:duration=31[v]",
                    "-map [v] -map [a] -pix_fmt yuv420p -c:v mpeg2video -b:v 1000k -c:a mp2 -b:a 256k"), True,
             silence=breaks(event(SILENT[0] / RATE + 0.5, "silence", LOSSY, SILENT[1] / RATE + 0.5, True))),
]

SURROUND = ("pan=5.1|FL=FL|FR=FR|FC=0.4*FL+0.4*FR|LFE={low}|BL=0.5*FL-0.2*FR|BR=0.5*FR-0.2*FL,"
            "adelay=0|0|0|0|17|19")
LOW = "0.2*FL+0.2*FR"
for dead, text in (("LFE", SURROUND.format(low="0*FL")), ("C", SURROUND.format(low=LOW).replace(
        "FC=0.4*FL+0.4*FR", "FC=0*FL"))):
    wanted = says("LFE is silent") if dead == "LFE" else breaks(throughout("centre is silent"))
    FAULTY += [sounding(f"audio-5.1-dead-{dead}-{kind}", f"5.1, {dead} is silent throughout",
                        shaped("audio-music.flac", text, f"{options}"), True,
                        programme_loudness=LOUDNESS_UNKNOWN, channels=wanted)
               for kind, options in (("s24.wav", "-c:a pcm_s24le"), ("ac3.ts", "-c:a ac3 -b:a 448k"),
                                     ("aac.mp4", "-c:a aac -b:a 384k"))]

IDENTICAL = each("val(0)")


def good(name, what, source, filters, options="-c:a pcm_s16le", **expect):
    return sounding(f"audio-{name}", what, shaped(f"audio-{source}.flac", filters, options), **expect)


def tones(left, right, fade=0.0, **expect):
    """A recipe of computed sound; a tone that begins at once is higher there between the samples."""
    ends = f"afade=in:d={fade},afade=out:st={SECONDS - fade}:d={fade}" if fade else "anull"
    def make(_folder, path):
        ffmpeg("-f", "lavfi", "-i", f"aevalsrc='{left}|{right}':s={RATE}:d={SECONDS}:c=stereo",
               "-af", ends, "-c:a", "pcm_s24le" if "s24" in path.name else "pcm_s16le", *BITEXACT, path)
    return {"make": make, "programme_loudness": LOUDNESS_UNKNOWN, **expect}


# 30 ms of fading at each end of what is left.
def gate(period, on, fade=0.03):
    return f"X*clip(mod(t,{period})/{fade},0,1)*clip(({on}-mod(t,{period}))/{fade},0,1)"


BURST = "0.09*sin(2*PI*1000*t)"
GOOD = [
    *(sounding(f"audio-{name}.flac", f"{name} at -23 LUFS", make, small=name == "noise")
      for name, make in (("music", MUSIC), ("speech", SPEECH), ("noise", NOISE))),
    *(good(f"{name}-{codec}", f"{name} at -23 LUFS", name, "anull", options)
      for name in ("music", "speech", "noise") for codec, (options, _) in CODECS.items()),
    *(good(f"identical-{codec}", "Left and right are identical", "music", IDENTICAL, CODECS[codec][0],
           programme_loudness=LOUDNESS_UNKNOWN, **({"channels": says("identical")} if lossless else {}))
      for codec, lossless in (("s16.wav", True), ("s24.mov", True), ("aac.mp4", False), ("ac3.ts", False),
                              ("mp2.ts", False))),
    *(good(f"fades-{codec}", "Fades of 5 s at both ends", "music",
           "afade=in:d=5,afade=out:st=25:d=5", options, programme_loudness=LOUDNESS_UNKNOWN)
      for codec, (options, _) in CODECS.items()),
    *(good(f"pauses-{codec}", "Pauses of 1.5 s", "speech", each(gate(6, 4.5, 0.01)), options,
           programme_loudness=LOUDNESS_UNKNOWN)
      for codec, (options, _) in CODECS.items()),
    *(good(f"gated-{codec}", "Gated with fades of 30 ms", "speech", each(gate(0.9, 0.5)), options,
           programme_loudness=LOUDNESS_UNKNOWN)
      for codec, (options, _) in CODECS.items()),
    *(good(f"panned-{codec}", "Instruments of 3.5 s, each on one side alone", "music",
           each("X*lt(mod(t,8),3.5)*clip(mod(t,8)/0.02,0,1)*clip((3.5-mod(t,8))/0.02,0,1)",
                "X*gt(mod(t,8),4)*clip((mod(t,8)-4)/0.02,0,1)*clip((7.5-mod(t,8))/0.02,0,1)"), options,
           programme_loudness=LOUDNESS_UNKNOWN)
      for codec, (options, _) in CODECS.items()),
    good("head-and-tail.wav", "3 s of silence at both ends", "music",
         each(during([(0, 3 * RATE), (27 * RATE, 30 * RATE)], "0")), programme_loudness=LOUDNESS_UNKNOWN,
         silence=says("silence at the")),
    good("44100.wav", "44.1 kHz", "music", "aresample=44100"),
    good("44100.m4a", "44.1 kHz", "music", "aresample=44100", "-c:a aac -b:a 192k"),
    good("96000.wav", "96 kHz of 24 bits", "music", "aresample=96000", "-c:a pcm_s24le"),
    good("float.wav", "32 bits, float", "music", "anull", "-c:a pcm_f32le"),
    good("mono.wav", "Mono", "speech", "pan=mono|c0=0.5*c0+0.5*c1", programme_loudness=LOUDNESS_UNKNOWN),
    good("mono.mp4", "Mono", "speech", "pan=mono|c0=0.5*c0+0.5*c1", "-c:a aac -b:a 96k",
         programme_loudness=LOUDNESS_UNKNOWN),
    *(good(f"5.1-{kind}", "5.1", "music", SURROUND.format(low=LOW), options,
           programme_loudness=LOUDNESS_UNKNOWN)
      for kind, options in (("s24.wav", "-c:a pcm_s24le"), ("ac3.ts", "-c:a ac3 -b:a 448k"),
                            ("aac.mp4", "-c:a aac -b:a 384k"))),
    *(good(f"languages-{kind}", "Four mono tracks, two of each language", "music",
           "[0:a]asplit[one][two];[one]channelsplit[a][b];[two]atempo=1.1,apad=whole_dur=30,atrim=0:30,"
           "channelsplit[c][d]",
           f"-map [a] -map [b] -map [c] -map [d] {options} -metadata:s:0 language=eng -metadata:s:1"
           " language=eng -metadata:s:2 language=ger -metadata:s:3 language=ger",
           programme_loudness=LOUDNESS_UNKNOWN, silence=undecided("the faster version ends early"))
      for kind, options in (("s24.mov", "-c:a pcm_s24le"), ("ac3.ts", "-c:a ac3 -b:a 128k"))),
    good("two-languages.mov", "Two mono tracks of two languages", "speech",
         "[0:a]pan=mono|c0=c0,asplit[a][two];[two]areverse[b]",
         "-map [a] -map [b] -c:a pcm_s24le -metadata:s:0 language=eng -metadata:s:1 language=ger",
         programme_loudness=LOUDNESS_UNKNOWN),
    good("eight-tracks.mxf", "Eight mono tracks, the last four are silent", "music",
         "[0:a]asplit[one][two];[one]channelsplit[a][b];[two]areverse,channelsplit[c][d];"
         f"aevalsrc=0:s={RATE}:d={SECONDS},asplit=4[e][f][g][h];testsrc2=size=320x240:rate=25:duration=30[v]",
         f"-map [v] {' '.join(f'-map [{track}]' for track in 'abcdefgh')} {XDCAM} -g 12 -bf 2 -c:a pcm_s24le",
         silence=says("unused"), channels=says("unused")),
    # What differs from side to side in good sound.
    good("spaced.wav", "Spaced microphones: the right side is 0.6 ms later", "music", "adelay=0|0.6",
         programme_loudness=LOUDNESS_UNKNOWN),
    good("spaced-wide.wav", "Microphones a metre apart: the right side is 3 ms later", "music", "adelay=0|3",
         programme_loudness=LOUDNESS_UNKNOWN),
    good("wide.wav", "Sides raised by 9 dB", "music", each("1.9*val(0)-0.9*val(1)", "1.9*val(1)-0.9*val(0)"),
         programme_loudness=LOUDNESS_UNKNOWN, true_peak=PEAK_UNKNOWN),
    *(good(f"{name}.wav", what, material, filters, programme_loudness=LOUDNESS_UNKNOWN,
           true_peak=PEAK_UNKNOWN)
      for name, what, material, filters in (
          ("wider", "Stereo widened 2.5 times", "music", "extrastereo=m=2.5:c=0"),
          ("haas", "Mono speech widened by delays", "speech", "haas"),
          ("limited", "Limited to -1 dBFS from 9 dB above", "music", "alimiter=level_in=5:limit=0.891:level=0"),
          ("noise-gate", "A noise gate that closes fully", "speech", "agate=range=0:threshold=0.02:ratio=9000"),
          ("compressed", "Compressed hard", "music", "acompressor=threshold=0.03:ratio=20:attack=0.1:makeup=8"))),
    good("eight-channels.wav", "Eight channels of a stream, the last four are silent", "music",
         "[0:a]asplit[one][two];[two]areverse[back];[one][back]amerge,pan=8c|c0=c0|c1=c1|c2=c2|c3=c3|c4=0*c0"
         "|c5=0*c0|c6=0*c0|c7=0*c0[out]", "-map [out] -c:a pcm_s24le",
         silence=undecided("libavformat may call it 7.1"), channels=undecided("libavformat may call it 7.1"),
         programme_loudness=LOUDNESS_UNKNOWN),
    # Signals of test and line-up.
    sounding("audio-50-hz.wav", "50 Hz at 0 dBFS", **tones(
        "sin(100*PI*t)", "sin(100*PI*t)", true_peak=breaks(throughout("0 dBTP")))),
    sounding("audio-below-limit-s24.wav", "Tones of a quarter and a twelfth of the rate at -1.1 dBTP", **tones(
        "0.881*sin(PI/2*n+PI/4)", "0.881*sin(PI/6*n+PI/12)", 0.02)),
    sounding("audio-below-limit-2-s24.wav", "997 Hz and 15 kHz at -1.1 dBTP", **tones(
        "0.881*sin(2*PI*997*t)", "0.881*sin(2*PI*15000*t+0.3)", 0.02)),
    sounding("audio-line-up.wav", "EBU line-up tone: 1 kHz at -18 dBFS, left stops for 0.25 s every 3 s",
             **tones("0.126*sin(2*PI*1000*t)*gte(mod(t,3),0.25)", "0.126*sin(2*PI*1000*t)")),
    sounding("audio-bursts.wav", "1 kHz at -21 dBFS, 0.5 s on and 0.5 s off", **tones(
        f"{BURST}*lt(mod(t,1),0.5)", f"{BURST}*lt(mod(t,1),0.5)")),
    sounding("audio-sync-pips.wav", "A pip of 40 ms every second", **tones(
        f"{BURST}*lt(mod(t,1),0.04)", f"{BURST}*lt(mod(t,1),0.04)")),
    sounding("audio-drums.wav", "Drum machine: exact zeros between the strokes", **tones(
        *["0.4*sin(2*PI*60*mod(t,0.5))*exp(-25*mod(t,0.5))*lt(mod(t,0.5),0.3)"] * 2)),
    sounding("audio-square.wav", "A square wave at -6 dBFS", **tones(
        *["0.5*(2*lt(mod(t*220,1),0.5)-1)"] * 2,
        clipping=undecided("a square wave has flat tops, whatever it was made by"))),
    sounding("audio-sweep.wav", "A sweep from 20 Hz to 20 kHz at -3 dBFS", **tones(
        *["0.7*sin(2*PI*20*30/log(1000)*(exp(t/30*log(1000))-1))"] * 2)),
]

SOUND = GOOD + FAULTY
