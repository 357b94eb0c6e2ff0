"""Sound from which clips are made: music, speech and noise of 30 s, each at -23.0 LUFS."""

import array
import math

from recipe import BITEXACT, ffmpeg

RATE, SECONDS, TARGET = 48000, 30, -23.0

# ITU-R BS.1770, tables 1 and 2: b0, b1, b2, a1, a2 at 48 kHz.
SHELF = (1.53512485958697, -2.69169618940638, 1.19839281085285, -1.69065929318241, 0.73248077421585)
HIGH_PASS = (1.0, -2.0, 1.0, -1.99004745483398, 0.99007225036621)


def weighted_energies(samples):
    """Of each 100 ms, the mean square of the K-weighted samples."""
    (b0, b1, b2, a1, a2), (_, _, _, c1, c2) = SHELF, HIGH_PASS
    step = RATE // 10
    energies = []
    s1 = s2 = h1 = h2 = 0.0
    for begin in range(0, len(samples) - step + 1, step):
        energy = 0.0
        for value in samples[begin:begin + step]:
            shelf = b0 * value + s1
            s1 = b1 * value - a1 * shelf + s2
            s2 = b2 * value - a2 * shelf
            high = shelf + h1
            h1 = -2.0 * shelf - c1 * high + h2
            h2 = shelf - c2 * high
            energy += high * high
        energies.append(energy / step)
    return energies


def integrated_loudness(channels):
    """LUFS of channels of weight 1, with the gates of BS.1770."""
    tenths = [sum(all_of_one) for all_of_one in zip(*map(weighted_energies, channels))]
    blocks = [sum(tenths[at:at + 4]) / 4 for at in range(len(tenths) - 3)]
    lufs = lambda energy: -0.691 + 10 * math.log10(energy)  # noqa: E731
    mean = lambda energies: sum(energies) / len(energies)  # noqa: E731
    loud = [block for block in blocks if block > 0 and lufs(block) > -70]
    gate = lufs(mean(loud)) - 10
    return lufs(mean([block for block in loud if lufs(block) > gate]))


def levelled(inputs, graph):
    """A recipe: the output [out] of a graph of filters, brought to the target."""
    def make(_folder, path):
        raw = path.with_name(path.name + ".raw")
        ffmpeg(*inputs, "-filter_complex", graph, "-map", "[out]", "-f", "f32le", "-c:a", "pcm_f32le",
               "-ac", 2, "-ar", RATE, raw)
        samples = array.array("f")
        samples.frombytes(raw.read_bytes())
        gain = TARGET - integrated_loudness([samples[0::2], samples[1::2]])
        ffmpeg("-f", "f32le", "-ac", 2, "-ar", RATE, "-i", raw, "-af", f"volume={gain:.6f}dB:precision=double",
               "-c:a", "flac", "-sample_fmt", "s32", "-bits_per_raw_sample", 24, *BITEXACT, path)
        raw.unlink()
    return make


def source(text):
    return ["-f", "lavfi", "-i", text]


def noise(color, seed):
    return source(f"anoisesrc=color={color}:r={RATE}:d={SECONDS}:seed={seed}:amplitude=0.5")


def music_of(side, phase):
    """A bar of four chords, a bass, a tune, a drum; the sides differ in balance and in phase."""
    gains = {"bass": (0.5, 0.5), "root": (0.22, 0.12), "third": (0.12, 0.2), "fifth": (0.17, 0.17),
             "tune": (0.12, 0.2)}
    gain = {name: pair[side] for name, pair in gains.items()}
    words = ["st(0,mod(t,1))", "st(1,exp(-2*ld(0))*min(1,100*ld(0)))", "st(2,mod(floor(t/2),4))",
             "st(3,220*pow(2,(if(eq(ld(2),0),0,if(eq(ld(2),1),-4,if(eq(ld(2),2),3,-2))))/12))",
             "st(4,mod(t,0.5))",
             "st(5,440*pow(2,floor(mod(floor(t*2)*3,5)*2.4+0.5)/12))"]
    parts = []
    for name, ratio in (("root", "1"), ("third", "pow(2,if(eq(ld(2),0),3,4)/12)"),
                        ("fifth", "pow(2,7/12)")):
        for partial in (1, 2, 3):
            parts.append(f"{gain[name] / partial:.4f}*exp(-{partial}*ld(0))*ld(1)"
                         f"*sin(2*PI*{partial}*ld(3)*{ratio}*ld(0)+{phase * partial})")
    parts += [f"{gain['bass']}*ld(1)*sin(2*PI*ld(3)/4*ld(0))",
              f"{gain['bass'] / 2}*ld(1)*sin(2*PI*ld(3)/2*ld(0)+{phase / 2})",
              f"{gain['tune']}*exp(-4*ld(4))*min(1,200*ld(4))*(sin(2*PI*ld(5)*ld(4)+{phase})"
              f"+0.4*sin(4*PI*ld(5)*ld(4)-{phase})+0.2*sin(6*PI*ld(5)*ld(4)))",
              "0.6*exp(-14*ld(4))*min(1,500*ld(4))*sin(2*PI*55*ld(4))"]
    return ";".join(words + ["+".join(parts)])


MUSIC = levelled(
    source(f"aevalsrc='{music_of(0, 0)}|{music_of(1, 0.6)}':s={RATE}:d={SECONDS}:c=stereo")
    + noise("white", 1) + noise("white", 2),
    # A snare on every other beat, and the air of a room that differs from side to side.
    "[0][1][2]amerge=inputs=3,aeval='"
    + "|".join(f"val({side})+val({side + 2})*(0.3*exp(-18*mod(t+0.5,1))+0.004)+0.1*exp(-18*mod(t+0.5,1))*val(2)"
               for side in (0, 1)) + "':c=stereo[out]")

SYLLABLES = "mod(4.2*t,1)"
PHRASE = "clip((2.7-mod(t,3.4))/0.05,0,1)*clip(mod(t,3.4)/0.05,0,1)"
VOICE = ("aevalsrc='st(0,115*t-44*0.16*cos(2*PI*0.31*t));exp(-12*mod(ld(0)+100,1))-0.083'"
         f":s={RATE}:d={SECONDS}")
SPEECH = levelled(
    source(VOICE) + noise("white", 3) + noise("pink", 4) + noise("pink", 5),
    # Two vowels of three formants each take turns; a consonant begins each syllable.
    "[0]asplit=6[a1][a2][a3][b1][b2][b3];"
    "[a1]bandpass=f=700:t=h:w=110[fa1];[a2]bandpass=f=1200:t=h:w=120[fa2];[a3]bandpass=f=2500:t=h:w=160[fa3];"
    "[b1]bandpass=f=350:t=h:w=90[fb1];[b2]bandpass=f=2000:t=h:w=130[fb2];[b3]bandpass=f=2900:t=h:w=170[fb3];"
    "[fa1][fa2][fa3]amix=inputs=3:normalize=0:weights='1 0.6 0.3'[va];"
    "[fb1][fb2][fb3]amix=inputs=3:normalize=0:weights='1 0.4 0.3'[vb];"
    "[1]highpass=f=3500,lowpass=f=8000,lowpass=f=8000[hiss];"
    "[va][vb][hiss][2][3]join=inputs=5:channel_layout=5.0,aeval='"
    + "|".join(f"{gain}*{PHRASE}*(pow(sin(PI*{SYLLABLES}),0.7)*if(mod(floor(4.2*t),2),val(0),val(1))"
               f"+0.03*val(2)*clip(1-{SYLLABLES}/0.18,0,1))+0.002*val({room})"
               for gain, room in ((1, 3), (0.95, 4))) + "':c=stereo[out]")

# What codecs cut off above would be missing in the loudness.
NOISE = levelled(noise("pink", 6) + noise("pink", 7),
                 "[0][1]amerge=inputs=2,lowpass=f=10000,lowpass=f=10000[out]")
