"""What recipes of clips are made of: sources, expectations, and damage to bytes that is known."""

import dataclasses
import fractions
import functools
import json
import struct
import subprocess

CHECKS = ["streams", "frame-timing", "length", "decoding", "start-timecode"]
SOUND_CHECKS = ["programme-loudness", "true-peak", "sample-levels", "silence", "channels", "clipping",
                "polarity", "dropouts"]
PICTURE_CHECKS = ["black", "freeze", "field-order", "cadence", "repeats", "cuts", "active-picture", "flashes"]
CLEAN, BREAKS, SAYS, OPEN, FINDS = "clean", "breaks", "says", "open", "finds"
# The same bytes from the same versions of the tools, whenever and wherever.
BITEXACT = ["-fflags", "+bitexact", "-flags", "+bitexact", "-map_metadata", "-1"]


@dataclasses.dataclass
class Clip:
    """A file, what it is, how it is made, and what each check must say of it.

    `make` takes the folder and the path, and may give events that only the making knows. A check of
    `checks` that `expect` does not name must find nothing.
    """

    name: str
    what: str
    make: object
    expect: dict = dataclasses.field(default_factory=dict)
    small: bool = False
    faulty: bool = False
    checks: list = dataclasses.field(default_factory=lambda: CHECKS)

    @property
    def source(self):
        """The clip that it is made of; none if it is made from nothing."""
        return getattr(self.make, "source", None)

    def manifest(self, known_later):
        checks = {}
        for check in self.checks:
            checks[check] = dict(self.expect.get(check, {"expect": CLEAN}))
            if check in (known_later or {}):
                checks[check]["events"] = known_later[check]
        return {"file": self.name, "kind": "fault" if self.faulty else "good", "what": self.what,
                "small": self.small, "checks": checks}


def event(seconds, what, tolerance=0.1, until=None, ends=False):
    """A fault that begins at `seconds` from the file's start and ends at `until`.

    With `ends`, both are to be found within the tolerance; otherwise some of it.
    """
    return {"seconds": round(seconds, 6), "until": round(seconds if until is None else until, 6),
            "tolerance": tolerance, "what": what, **({"ends": True} if ends else {})}


def breaks(*events):
    return {"expect": BREAKS, "events": list(events)}


def says(word):
    """What a check says with this word, and does not judge."""
    return {"expect": SAYS, "word": word}


def finds(*events, of=(), judged=None):
    """Exactly these events, whatever they break; of all that a check gives, or of those whose words
    begin with one of `of`. `judged` is what else the check must say of the clip."""
    facts = {"events": list(events), "of": list(of)}
    return {**judged, "finds": facts} if judged else {"expect": FINDS, "finds": facts}


def pictures(first, end, what, rate="25", tolerance=2, within=0):
    """An event of the pictures `first` to `end`, exclusive, that is known within so many pictures.

    Where both are the same it is a moment, whose end is not asked for. The numbers in its words are known within `within`."""
    second = lambda number: number / float(fractions.Fraction(rate))  # noqa: E731
    known = event(second(first), what, second(tolerance + 0.01), second(end), ends=end > first)
    return {**known, "within": within} if within else known


def undecided(why):
    """What a check may answer either way: it is shown and not counted."""
    return {"expect": OPEN, "why": why}


def picture(rate="25", size="320x240", seconds=5, filters=""):
    return ["-f", "lavfi", "-i", f"testsrc2=size={size}:rate={rate}:duration={seconds}{filters}"]


def fields(rate="50", size="320x240", seconds=5, first="top", filters=""):
    """Each field of another instant: half as many pictures a second as `rate`."""
    order = "tff" if first == "top" else "bff"
    return picture(rate, size, seconds,
                   f"{filters},tinterlace=mode=interleave_{first},setfield={order}")


def tone(seconds=5, channels=2, rate=48000):
    waves = "|".join(f"0.2*sin(2*PI*{440 + 110 * channel}*t)" for channel in range(channels))
    layout = {1: "mono", 2: "stereo", 6: "5.1"}[channels]
    return ["-f", "lavfi", "-i", f"aevalsrc={waves}:s={rate}:d={seconds}:c={layout}"]


def ffmpeg(*arguments):
    run = subprocess.run(["ffmpeg", "-nostdin", "-v", "error", "-y", *map(str, arguments)],
                         capture_output=True, text=True, check=False)
    if run.returncode:
        raise RuntimeError(f"ffmpeg {' '.join(map(str, arguments))}\n{run.stderr}")


def encode(inputs, options):
    """A recipe: inputs encoded with `options`, a string."""
    def make(_folder, path):
        ffmpeg(*inputs, *options.split(), "-threads", 1, *BITEXACT, path)
    return make


def made_of(recipe):
    """Notes in what a recipe gives which clip it starts from: its first argument."""
    @functools.wraps(recipe)
    def noted(source, *arguments, **named):
        make = recipe(source, *arguments, **named)
        make.source = source
        return make
    return noted


@made_of
def copied(source, options="", before=""):
    """A recipe: the packets of a clip that is there, with `options` for inputs and outputs."""
    def make(folder, path):
        ffmpeg(*before.split(), "-i", folder / source, "-map", 0, "-c", "copy", *options.split(),
               *BITEXACT, path)
    return make


def start_of(path):
    run = subprocess.run(["ffprobe", "-v", "quiet", "-of", "json", "-show_entries",
                          "format=start_time", path], capture_output=True, text=True, check=True)
    return float(json.loads(run.stdout)["format"].get("start_time", 0))


def packets(path, stream="v:0"):
    """The packets of a stream in the order of the file: seconds from the file's start, pos, size."""
    run = subprocess.run(["ffprobe", "-v", "quiet", "-of", "json", "-select_streams", stream,
                          "-show_packets", path], capture_output=True, text=True, check=True)
    start = start_of(path)
    found = []
    for packet in json.loads(run.stdout)["packets"]:
        time = packet.get("pts_time", packet.get("dts_time"))
        if time is not None and "pos" in packet:
            found.append({"seconds": float(time) - start, "pos": int(packet["pos"]),
                          "size": int(packet["size"]), "key": "K" in packet["flags"]})
    return found


def packet_at(path, seconds, stream="v:0", key=False):
    """The packet nearest to a time, of key packets alone if told so."""
    wanted = [packet for packet in packets(path, stream) if packet["key"] or not key]
    return min(wanted, key=lambda packet: abs(packet["seconds"] - seconds))


@made_of
def cut(source, share, place="v:0"):
    """A recipe: the first `share` of the bytes, up to the middle of a packet of a stream."""
    def make(folder, path):
        data = (folder / source).read_bytes()
        there = [packet for packet in packets(folder / source, place)
                 if packet["pos"] + packet["size"] / 2 <= share * len(data)]
        last = max(there, key=lambda packet: packet["pos"])
        path.write_bytes(data[:last["pos"] + last["size"] // 2])
        return {"decoding": [event(last["seconds"], "the file ends here", 1.0)]}
    return make


@made_of
def cut_index(source, share):
    """A recipe: the first `share` of the bytes of a file whose index is at the end."""
    def make(folder, path):
        data = (folder / source).read_bytes()
        path.write_bytes(data[:int(share * len(data))])
    return make


@made_of
def joined(source, second):
    """A recipe: the bytes of two clips in a row."""
    def make(folder, path):
        path.write_bytes((folder / source).read_bytes() + (folder / second).read_bytes())
    return make


@made_of
def damaged(source, seconds, harm, stream="v:0", key=False, tolerance=0.5, what="damaged bytes"):
    """A recipe: the bytes of a packet changed by `harm(bytes) -> bytes` of the same length."""
    def make(folder, path):
        data = bytearray((folder / source).read_bytes())
        packet = packet_at(folder / source, seconds, stream, key)
        begin, end = packet["pos"], packet["pos"] + packet["size"]
        data[begin:end] = harm(bytes(data[begin:end]))
        path.write_bytes(data)
        return {"decoding": [event(packet["seconds"], what, tolerance)]}
    return make


def inverted(begin=0.4, count=24, apart=7):
    """Inverts every `apart`-th byte from a share of the packet on."""
    def harm(data):
        changed = bytearray(data)
        first = int(begin * len(data))
        for position in range(first, min(first + count * apart, len(data)), apart):
            changed[position] ^= 0xFF
        return bytes(changed)
    return harm


def zeroed(begin=0.3, end=0.7):
    def harm(data):
        first, last = int(begin * len(data)), int(end * len(data))
        return data[:first] + bytes(last - first) + data[last:]
    return harm


def behind(head, harm):
    """Leaves so many bytes before those that are harmed: the head that a container puts there."""
    return lambda data: data[:head] + harm(data[head:])


@made_of
def patched(source, patch):
    """A recipe: the whole file through `patch(bytearray)`, which may give events."""
    def make(folder, path):
        data = bytearray((folder / source).read_bytes())
        known = patch(data)
        path.write_bytes(data)
        return known
    return make


# MP4 and MOV


def boxes(data, kind):
    """Where the contents of the boxes of a kind begin."""
    places, at = [], data.find(kind)
    while at >= 0:
        places.append(at + 4)
        at = data.find(kind, at + 4)
    return places


def scale_mp4_durations(factor):
    """Movie, track and media headers (of version 0) all declare `factor` times the duration."""
    def patch(data):
        for kind, offset in ((b"mvhd", 16), (b"tkhd", 20), (b"mdhd", 16), (b"elst", 8)):
            places = boxes(data, kind)
            assert places, kind
            for place in places:
                assert data[place] == 0, "a header of version 1"
                (duration,) = struct.unpack_from(">I", data, place + offset)
                struct.pack_into(">I", data, place + offset, int(duration * factor))
    return patch


def drop_frame_flag(data):
    """Sets the drop-frame flag of the timecode track."""
    described = [place for place in boxes(data, b"tmcd")
                 if data[place:place + 6] == bytes(6) and data[place + 6:place + 8] == b"\0\1"]
    assert len(described) == 1, described
    data[described[0] + 15] |= 1


# Matroska


def vint(data, at):
    """The value and the length of a number of variable size."""
    length = 9 - data[at].bit_length()
    value = int.from_bytes(data[at:at + length], "big") & ((1 << (7 * length)) - 1)
    return value, length


def clusters(data):
    """Where the time stamps of the clusters lie, their length, their milliseconds."""
    found, at = [], data.find(b"\x1f\x43\xb6\x75")
    while at >= 0:
        _, length = vint(data, at + 4)
        place = at + 4 + length
        assert data[place] == 0xE7, "a cluster begins with its time stamp"
        size = data[place + 1] & 0x7F
        found.append((place + 2, size, int.from_bytes(data[place + 2:place + 2 + size], "big")))
        at = data.find(b"\x1f\x43\xb6\x75", at + 4)
    return found


def move_cluster(seconds, by):
    """Shifts the time stamp of the cluster that begins next to a time."""
    def patch(data):
        place, size, stamp = min(clusters(data), key=lambda one: abs(one[2] - seconds * 1000))
        data[place:place + size] = (stamp + int(by * 1000)).to_bytes(size, "big")
        first, last = sorted((stamp / 1000, stamp / 1000 + by))
        return {"frame-timing": [event(first, f"a cluster stamped {by} s off", 0.1, last)]}
    return patch


def scale_mkv_duration(factor):
    def patch(data):
        at = data.find(b"\x44\x89\x88")
        assert 0 <= at < 2000
        (duration,) = struct.unpack_from(">d", data, at + 3)
        struct.pack_into(">d", data, at + 3, duration * factor)
    return patch


def double_flac_samples(data):
    """Doubles the number of samples of the stream information, the low 36 bits of 8 bytes."""
    (fields,) = struct.unpack_from(">Q", data, 18)
    samples = fields & (1 << 36) - 1
    struct.pack_into(">Q", data, 18, fields + samples)


# Transport streams


TS = 188


def ts_packets(data, pid):
    """Where the packets of a PID lie, each with whether a PES packet begins there."""
    for place in range(0, len(data), TS):
        assert data[place] == 0x47
        if ((data[place + 1] & 0x1F) << 8 | data[place + 2]) == pid:
            yield place, bool(data[place + 1] & 0x40)


@made_of
def ts_inside(source, seconds, count, act, what):
    """A recipe: `act(data, places)` on `count` packets inside the picture next to a time."""
    def make(folder, path):
        data = bytearray((folder / source).read_bytes())
        packet = packet_at(folder / source, seconds)
        begin = packet["pos"]
        inside = []
        for place, starts in ts_packets(data, 0x100):
            if place > begin:
                if starts or len(inside) == count + 1:
                    break
                inside.append(place)
        assert len(inside) == count + 1, "the picture is too small"
        act(data, inside[1:])
        path.write_bytes(data)
        return {"decoding": [event(packet["seconds"], what, 0.5)]}
    return make


def lose(data, places):
    for place in reversed(places):
        del data[place:place + TS]


def mark_errors(data, places):
    for place in places:
        data[place + 1] |= 0x80


def invert_payload(data, places):
    for place in places:
        for position in range(place + 40, place + TS, 5):
            data[position] ^= 0xFF


@made_of
def capture(source, after, until=None):
    """A recipe: a transport stream from the middle of a GOP on, at the border of a packet."""
    def make(folder, path):
        data = (folder / source).read_bytes()
        there = packets(folder / source)
        first = next(packet for packet in there if packet["seconds"] > after and not packet["key"])
        begin = first["pos"] // TS * TS + 2 * TS
        end = len(data)
        if until:
            end = next(packet["pos"] for packet in there if packet["seconds"] > until) // TS * TS
        path.write_bytes(data[begin:end])
    return make


# MPEG-2


def gop_headers(data):
    places, at = [], data.find(b"\0\0\1\xb8")
    while at >= 0:
        places.append(at + 4)
        at = data.find(b"\0\0\1\xb8", at + 4)
    return places


def jump_gop_timecodes(first, hours):
    """The timecodes of the GOPs from number `first` on are `hours` later."""
    def patch(data):
        for place in gop_headers(data)[first:]:
            old = data[place] >> 2 & 0x1F
            data[place] = data[place] & 0x83 | (old + hours) << 2
    return patch


def write_gop_timecode(data, place, count, rate):
    """The timecode of a GOP header, non-drop, of frame number `count`."""
    frames, seconds = count % rate, count // rate
    word = (seconds // 3600 << 26 | seconds // 60 % 60 << 20 | 1 << 19 | seconds % 60 << 13
            | frames << 7 | data[place + 3] & 0x7F)
    data[place:place + 4] = word.to_bytes(4, "big")


def drop_frame_gops(data):
    for place in gop_headers(data):
        data[place] |= 0x80


def pull_down(data):
    """Film at 24000/1001 shown at 30000/1001: flags of 2:3 pull-down in a stream without B pictures."""
    at = data.find(b"\0\0\1\xb3")
    while at >= 0:
        data[at + 7] = data[at + 7] & 0xF0 | 4
        at = data.find(b"\0\0\1\xb3", at + 4)
    picture_number, at = 0, data.find(b"\0\0\1\xb5")
    while at >= 0:
        body = at + 4
        if data[body] >> 4 == 1:  # of the sequence: not progressive
            data[body + 1] &= 0xF7
        if data[body] >> 4 == 8:  # of a picture
            top, again = [(1, 1), (0, 0), (0, 1), (1, 0)][picture_number % 4]
            data[body + 3] = data[body + 3] & 0x7D | 0x40 | top << 7 | again << 1 | 1
            data[body + 4] |= 0x80
            picture_number += 1
        at = data.find(b"\0\0\1\xb5", at + 4)
