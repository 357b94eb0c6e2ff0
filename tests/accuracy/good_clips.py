"""Clips without a fault, in the containers and codecs that are delivered."""

from recipe import *  # noqa: F403: a recipe is a sentence of these words

X264 = "-pix_fmt yuv420p -c:v libx264 -preset veryfast -crf 26"
X265 = "-pix_fmt yuv420p -c:v libx265 -preset ultrafast -x265-params log-level=error:pools=none:frame-threads=1:info=0"
MPEG2 = "-pix_fmt yuv420p -c:v mpeg2video -b:v 1500k"
MPEG2_INTERLACED = MPEG2 + " -flags +ildct+ilme -alternate_scan 1"
XDCAM = ("-pix_fmt yuv422p -c:v mpeg2video -b:v 4000k -maxrate 4000k -bufsize 2000k"
         " -non_linear_quant 1 -intra_vlc 1 -qmin 1 -qmax 28 -dc 9")
D10 = ("-pix_fmt yuv422p -c:v mpeg2video -g 1 -flags +ildct+low_delay -intra_vlc 1 -non_linear_quant 1"
       " -dc 10 -qmin 1 -qmax 12 -rc_max_vbv_use 1 -rc_min_vbv_use 1 -ps 1 -b:v 30000k -minrate 30000k -maxrate 30000k"
       " -bufsize {0} -rc_init_occupancy {0} -c:a pcm_s16le -ar 48000 -f mxf_d10")
# Fills the frames of a codec whose frames have one size.
NOISE = ",noise=alls=50:allf=t:all_seed=7"
AAC, MP2, AC3 = "-c:a aac -b:a 96k", "-c:a mp2 -b:a 128k", "-c:a ac3 -b:a 128k"
PCM = "-c:a pcm_s16le"
FILM, NTSC, NTSC_DOUBLE = "24000/1001", "30000/1001", "60000/1001"
# Pictures that wait for the priming of MP3 would leave a place without a picture.
MP3_IN_AVI = "-avoid_negative_ts disabled"
DROP_FRAME = "-timecode 10:00:00;00"

NO_SOUND = {"streams": breaks(event(0, "there is no sound", 1e9))}
NO_PICTURE = {"streams": breaks(event(0, "there is no picture", 1e9))}


def av(name, what, video, audio, rate="25", size="320x240", seconds=5, expect=None, small=False,
       extra=""):
    """A clip of pictures and a tone."""
    return Clip(name, what, encode(picture(rate, size, seconds) + tone(seconds),
                                   f"{video} {audio} {extra}"), expect or {}, small=small)


def interlaced(name, what, video, audio, rate="50", size="320x240", seconds=5, first="top", extra="",
               filters=""):
    return Clip(name, what, encode(fields(rate, size, seconds, first, filters) + tone(seconds),
                                   f"{video} {audio} {extra}"))


def sound(name, what, options, small=False, channels=2, seconds=5):
    return Clip(name, what, encode(tone(seconds, channels), options), NO_PICTURE, small=small)


def pulled_down(folder, path):
    """Soft telecine: 23.976 pictures a second whose flags make 29.97 of them."""
    film = path.with_name(path.name + ".m2v")
    ffmpeg(*picture(FILM, "320x256", 6), *f"{MPEG2} -bf 0 -g 12".split(),
           "-threads", 1, *BITEXACT, film)
    data = bytearray(film.read_bytes())
    pull_down(data)
    # Twelve pictures of film are fifteen frames.
    for number, place in enumerate(gop_headers(data)):
        write_gop_timecode(data, place, 15 * number, 30)
    film.write_bytes(data)
    ffmpeg("-i", film, *tone(6), "-map", 0, "-map", 1, "-c:v", "copy", *MP2.split(), *BITEXACT,
           "-f", "vob", path)
    film.unlink()


def with_cover(name, what, options):
    """A tune with a picture of its cover, which is no programme."""
    cover = picture("25", "160x160", 0.04)
    return Clip(name, what, encode(
        tone(5) + cover, f"-map 0 -map 1 {options} -c:v mjpeg -disposition:v attached_pic"),
        NO_PICTURE)


def with_texts(name, what, options):
    """Two subtitles in eight seconds."""
    def make(_folder, path):
        texts = path.with_name(path.name + ".srt")
        texts.write_text("1\n00:00:01,000 --> 00:00:02,000\nOne\n\n"
                         "2\n00:00:05,500 --> 00:00:06,000\nTwo\n", encoding="ascii")
        ffmpeg(*picture(seconds=8), *tone(8), "-i", texts, "-map", 0, "-map", 1, "-map", 2,
               *X264.split(), *AAC.split(), *options.split(), "-threads", 1, *BITEXACT, path)
        texts.unlink()
    return Clip(name, what, make)


def with_chapters(_folder, path):
    chapters = path.with_name(path.name + ".txt")
    chapters.write_text(";FFMETADATA1\n" + "".join(
        f"[CHAPTER]\nTIMEBASE=1/1\nSTART={begin}\nEND={begin + 2}\ntitle=Part {begin}\n"
        for begin in (0, 2, 4)), encoding="ascii")
    ffmpeg(*picture(seconds=6), *tone(6), "-i", chapters, "-map_chapters", 2, *X264.split(),
           *AAC.split(), "-threads", 1, "-fflags", "+bitexact", "-flags", "+bitexact", path)
    chapters.unlink()


def variable(name, what, video, audio, kept):
    """Pictures of a screen: only those are kept that `kept` says, by number."""
    return Clip(name, what, encode(picture(seconds=6) + tone(6),
                                   f"-vf select={kept} -vsync vfr {video} {audio}"))


def uneven(name, what, video, picture_seconds, sound_seconds, audio):
    return Clip(name, what, encode(picture(seconds=picture_seconds) + tone(sound_seconds),
                                   f"{video} {audio}"))


# Eight seconds each, from which the faulty clips are made as well.
BASES = [
    av("base-h264.mp4", "H.264 with B pyramid, AAC with priming; index at the front",
       X264 + " -g 25", AAC, seconds=8, extra="-movflags +faststart", small=True),
    av("base-h264.mkv", "H.264 with B pictures, AC-3, clusters of a second", X264 + " -g 25", AC3,
       seconds=8, extra="-cluster_time_limit 1000 -write_crc32 0", small=True),
    av("base-h264.ts", "H.264 with B pictures, MP2", X264 + " -g 25", MP2, seconds=8, small=True),
    av("base-intra.mp4", "H.264 of intra pictures", X264 + " -g 1", AAC, seconds=8),
    av("base-intra.mkv", "H.264 of intra pictures, clusters of a second", X264 + " -g 1", AAC, seconds=8,
       extra="-cluster_time_limit 1000 -write_crc32 0"),
    av("base-mjpeg.mov", "Motion JPEG, PCM", "-pix_fmt yuvj420p -c:v mjpeg -q:v 6", PCM, seconds=8,
       extra="-movflags +faststart"),
    av("base-mjpeg.avi", "Motion JPEG, PCM", "-pix_fmt yuvj420p -c:v mjpeg -q:v 6", PCM, seconds=8),
    av("base-mpeg2-intra.ts", "MPEG-2 of intra pictures, MP2", MPEG2 + " -g 1 -b:v 3000k", MP2,
       seconds=8),
    av("base-mpeg2.ts", "MPEG-2, IBBP, MP2", MPEG2 + " -g 12 -bf 2", MP2, seconds=8),
    av("base-mpeg2.mpg", "MPEG-2, IBBP, MP2, timecodes of the GOPs", MPEG2 + " -g 12 -bf 2", MP2,
       seconds=8, extra="-gop_timecode 10:00:00:00 -f vob", small=True),
    av("base-mpeg2.mxf", "MPEG-2 4:2:2, IBBP, PCM", XDCAM + " -g 12 -bf 2", PCM, seconds=8,
       extra="-timecode 10:00:00:00"),
    av("base-hevc.mp4", "HEVC, AAC", X265 + ":keyint=25", AAC, seconds=8,
       extra="-movflags +faststart"),
    av("base-prores.mov", "ProRes 422, PCM", "-pix_fmt yuv422p10le -c:v prores_ks -profile:v 0", PCM,
       seconds=8, extra="-movflags +faststart"),
    av("base-ffv1.mkv", "FFV1 version 3 with checksums, FLAC", "-pix_fmt yuv420p -c:v ffv1 -level 3"
       " -slicecrc 1 -slices 4", "-c:a flac", seconds=8),
    av("base-mpeg4.avi", "MPEG-4 ASP without B pictures, MP3", "-pix_fmt yuv420p -c:v mpeg4 -q:v 6",
       "-c:a libmp3lame", seconds=8, extra=MP3_IN_AVI),
    av("base-vp9.webm", "VP9, Opus", "-pix_fmt yuv420p -c:v libvpx-vp9 -deadline realtime -cpu-used 8"
       " -b:v 500k", "-c:a libopus", seconds=8, extra="-write_crc32 0"),
    av("base-vp8.webm", "VP8, Vorbis", "-pix_fmt yuv420p -c:v libvpx -deadline realtime -cpu-used 8"
       " -b:v 500k", "-c:a libvorbis", seconds=8),
    av("base-dv.dv", "DV of 625 lines", "-c:v dvvideo -pix_fmt yuv420p", PCM, size="720x576",
       seconds=3),
    av("film-24.ts", "MPEG-2, 24 fps", MPEG2 + " -bf 2 -g 12", MP2, rate="24", seconds=8),
    av("ntsc-30.ts", "MPEG-2, 30 fps", MPEG2 + " -bf 2 -g 15", MP2, rate="30", seconds=8),
    av("base-timecode.mov", "Timecode track at 25 fps", X264, AAC, seconds=5,
       extra="-timecode 10:00:00:00", small=True),
    sound("base.wav", "PCM of 16 bits", PCM, seconds=8, small=True),
    sound("base.flac", "FLAC", "-c:a flac", seconds=8),
    sound("base.mp3", "MP3 with a Xing header", "-c:a libmp3lame", seconds=8),
    sound("base.ac3", "AC-3, bare", "-c:a ac3", seconds=8),
    sound("base.m4a", "AAC in MP4", AAC, seconds=8),
]

CLIPS = [
    # H.264
    av("h264-open-gop.mp4", "H.264 with open GOPs", X264 + " -x264-params open-gop=1:keyint=20:bframes=3",
       AAC),
    av("h264-open-gop.ts", "H.264 with open GOPs", X264 + " -x264-params open-gop=1:keyint=20:bframes=3",
       AAC),
    av("h264-baseline.mp4", "H.264 with CAVLC, no B pictures, 30 fps", X264 + " -profile:v baseline",
       AAC, rate="30"),
    av("h264-intra-24.mov", "H.264 of intra pictures, PCM, 24 fps", X264 + " -g 1", PCM, rate="24"),
    av("h264-23976.mkv", "23.976 fps in milliseconds", X264, AC3, rate=FILM),
    av("h264-2997.mkv", "29.97 fps in milliseconds", X264, AAC, rate=NTSC, small=True),
    av("h264-5994.mkv", "59.94 fps in milliseconds", X264, AAC, rate=NTSC_DOUBLE),
    av("h264-2997-no-b.mkv", "29.97 fps in milliseconds, no B pictures", X264 + " -bf 0", AAC,
       rate=NTSC),
    av("h264-23976.mp4", "23.976 fps", X264, AAC, rate=FILM),
    av("h264-2997.mp4", "29.97 fps, AC-3", X264, AC3, rate=NTSC),
    av("h264-50.ts", "50 fps, E-AC-3", X264, "-c:a eac3", rate="50"),
    av("h264-5994.ts", "59.94 fps", X264, AAC, rate=NTSC_DOUBLE),
    av("h264-60.mp4", "60 fps", X264, AAC, rate="60"),
    av("h264-50.mov", "50 fps", X264, AAC, rate="50"),
    interlaced("h264-interlaced.ts", "H.264, MBAFF, top field first, MP2",
               X264 + " -flags +ildct+ilme -x264-params tff=1", MP2),
    interlaced("h264-interlaced.mp4", "H.264, MBAFF, bottom field first, 29.97 fps",
               X264 + " -flags +ildct+ilme -x264-params bff=1", AAC, rate=NTSC_DOUBLE, first="bottom"),
    interlaced("h264-interlaced.mkv", "H.264, MBAFF, top field first",
               X264 + " -flags +ildct+ilme -x264-params tff=1", AAC),
    av("h264-422-10.mov", "H.264 4:2:2 of 10 bits", "-pix_fmt yuv422p10le -c:v libx264 -preset veryfast",
       "-c:a pcm_s24le"),
    av("h264.m2ts", "H.264, AC-3 in packets of 192 bytes", X264, AC3, rate=FILM,
       extra="-f mpegts -mpegts_m2ts_mode 1"),
    av("h264-fragmented.mp4", "A fragment a GOP", X264 + " -g 25", AAC,
       extra="-movflags +frag_keyframe+empty_moov+default_base_moof"),
    av("h264-fragmented-start.mp4", "Fragments behind the index of the first", X264 + " -g 25", AAC,
       extra="-movflags +frag_keyframe"),
    av("h264.avi", "H.264 without B pictures, MP3", X264 + " -bf 0", "-c:a libmp3lame",
       extra=MP3_IN_AVI),
    av("h264.flv", "H.264 with B pictures, AAC", X264, AAC),
    av("h264.3gp", "H.264, AAC", X264 + " -profile:v baseline", AAC, size="176x144"),
    av("h264.nut", "H.264 with B pictures", X264, AAC),
    Clip("h264-raw.h264", "H.264, bare", encode(picture(), X264), NO_SOUND),
    Clip("h264-edit-list.mp4", "Begins in mid-GOP by an edit list",
         copied("base-h264.mp4", "-movflags +faststart", "-ss 2.48")),
    Clip("h264-edit-list.mov", "Begins in mid-GOP by an edit list",
         copied("base-h264.mp4", "", "-ss 1.6")),
    Clip("h264-capture.ts", "A capture that begins in mid-GOP",
         capture("base-h264.ts", 1.4), small=True),
    Clip("mpeg2-capture.ts", "A capture that begins in mid-GOP", capture("base-mpeg2.ts", 1.3)),
    Clip("h264-open-gop-capture.ts", "A capture of open GOPs",
         capture("h264-open-gop.ts", 1.1)),
    Clip("h264-wrap.ts", "Time stamps go past 2^33 in mid-file",
         copied("base-h264.ts", "-output_ts_offset 95440", ""), small=True),
    Clip("mpeg2-wrap.ts", "Time stamps go past 2^33 in mid-file",
         copied("base-mpeg2.ts", "-output_ts_offset 95440", "")),
    Clip("h264-late-start.ts", "Begins at 66,013 s", copied("base-h264.ts", "-output_ts_offset 66013")),
    Clip("h264-late-start.mkv", "Begins at 10 s",
         copied("base-h264.mkv", "-output_ts_offset 10")),
    Clip("h264-late-start.mp4", "Both tracks begin at 10 s",
         copied("base-h264.mp4", "-output_ts_offset 10 -movflags +faststart")),
    # HEVC, MPEG-2, MPEG-4
    av("hevc.mkv", "HEVC, Opus", X265, "-c:a libopus"),
    av("hevc.ts", "HEVC with open GOPs, AAC", X265 + ":keyint=20:open-gop=1", AAC),
    av("hevc-closed.mp4", "HEVC with closed GOPs, 23.976 fps", X265 + ":keyint=24:open-gop=0", AAC,
       rate=FILM),
    av("hevc-10.mov", "HEVC of 10 bits", X265.replace("yuv420p", "yuv420p10le") + " -tag:v hvc1", AAC),
    Clip("hevc-raw.hevc", "HEVC, bare", encode(picture(), X265), NO_SOUND),
    Clip("hevc-capture.ts", "A capture of open GOPs", capture("hevc.ts", 1.1)),
    interlaced("mpeg2-interlaced.mpg", "MPEG-2, interlaced, MP2", MPEG2_INTERLACED + " -bf 2 -g 12",
               MP2, extra="-f vob"),
    interlaced("mpeg2-interlaced-2997.mpg", "MPEG-2, interlaced, AC-3", MPEG2_INTERLACED + " -bf 2 -g 15",
               AC3, rate=NTSC_DOUBLE, extra="-f vob"),
    av("mpeg2-closed.mpg", "MPEG-2 with closed GOPs", MPEG2 + " -bf 2 -g 12 -flags +cgop -mpv_flags +strict_gop"
       " -sc_threshold 1000000000", MP2, extra="-f vob"),
    av("mpeg2-2997.ts", "MPEG-2, 29.97 fps", MPEG2 + " -bf 2 -g 15", AC3, rate=NTSC),
    av("mpeg2-5994.ts", "MPEG-2, 59.94 fps", MPEG2 + " -bf 2 -g 15", AC3, rate=NTSC_DOUBLE),
    av("mpeg2-2997.mkv", "MPEG-2, 29.97 fps in milliseconds", MPEG2 + " -bf 2 -g 15", AC3, rate=NTSC),
    interlaced("mpeg2.mov", "MPEG-2 4:2:2, interlaced, PCM", XDCAM + " -flags +ildct+ilme -g 12 -bf 2",
               PCM),
    Clip("mpeg2-pull-down.mpg", "Film with flags of 2:3 pull-down", pulled_down),
    Clip("mpeg2-raw.m2v", "MPEG-2, bare", encode(picture(), MPEG2 + " -g 12 -bf 2"), NO_SOUND),
    interlaced("mpeg2-25.mxf", "MPEG-2 4:2:2, interlaced, OP1a, 25 fps",
               XDCAM + " -flags +ildct+ilme -g 12 -bf 2", "-c:a pcm_s24le",
               extra="-timecode 10:00:00:00"),
    av("mpeg2-2997.mxf", "MPEG-2 4:2:2, OP1a, 29.97 fps, drop-frame", XDCAM + " -g 15 -bf 2", PCM,
       rate=NTSC, extra=DROP_FRAME),
    av("mpeg2-2398.mxf", "MPEG-2 4:2:2, OP1a, 23.976 fps", XDCAM + " -g 12 -bf 2", PCM, rate=FILM),
    interlaced("d10-25.mxf", "D-10 of 625 lines", D10.format(1200000), "", size="720x608", seconds=3,
               filters=NOISE),
    interlaced("d10-2997.mxf", "D-10 of 525 lines", D10.format(1001000), "", rate=NTSC_DOUBLE,
               size="720x512", seconds=3, first="bottom", filters=NOISE),
    interlaced("mpeg2.gxf", "MPEG-2 in GXF", MPEG2_INTERLACED + " -g 12 -bf 2", PCM + " -ac 1",
               size="720x576", seconds=3),
    av("mpeg1.mpg", "MPEG-1, MP2", "-pix_fmt yuv420p -c:v mpeg1video -b:v 800k -g 12 -bf 2", MP2),
    av("mpeg4-b.avi", "MPEG-4 ASP with B pictures, packed, MP3", "-pix_fmt yuv420p -c:v mpeg4 -q:v 6 -bf 2",
       "-c:a libmp3lame", rate=FILM, extra=MP3_IN_AVI),
    av("mpeg4-b.mp4", "MPEG-4 ASP with B pictures", "-pix_fmt yuv420p -c:v mpeg4 -q:v 6 -bf 2", AAC),
    # Production and archive
    av("prores-hq.mov", "ProRes HQ, 24 bits", "-pix_fmt yuv422p10le -c:v prores_ks -profile:v 3",
       "-c:a pcm_s24le", rate=NTSC, seconds=4),
    interlaced("prores-interlaced.mov", "ProRes, interlaced",
               "-pix_fmt yuv422p10le -c:v prores_ks -profile:v 2 -flags +ildct", PCM, seconds=4),
    av("dnxhr.mov", "DNxHR SQ", "-pix_fmt yuv422p -c:v dnxhd -profile:v dnxhr_sq", PCM, size="480x270",
       seconds=4),
    av("dnxhr.mxf", "DNxHR SQ", "-pix_fmt yuv422p -c:v dnxhd -profile:v dnxhr_sq", PCM, size="480x270",
       seconds=4),
    av("dv-525.mov", "DV of 525 lines", "-c:v dvvideo -pix_fmt yuv411p", PCM, rate=NTSC, size="720x480",
       seconds=3),
    av("dv-625.avi", "DV of 625 lines", "-c:v dvvideo -pix_fmt yuv420p", PCM, size="720x576", seconds=3),
    av("ffv1-10.mkv", "FFV1 of 10 bits", "-pix_fmt yuv422p10le -c:v ffv1 -level 3", "-c:a flac",
       seconds=4),
    av("ffv1.avi", "FFV1 version 1", "-pix_fmt yuv420p -c:v ffv1 -level 1", PCM, seconds=4),
    av("v210.mov", "Uncompressed 4:2:2 of 10 bits", "-c:v v210", "-c:a pcm_s24le", seconds=3),
    av("raw.avi", "Uncompressed 4:2:0", "-pix_fmt yuv420p -c:v rawvideo", PCM, seconds=3),
    av("raw.nut", "Uncompressed RGB", "-pix_fmt rgb24 -c:v rawvideo", PCM, seconds=3),
    av("huffyuv.avi", "HuffYUV", "-pix_fmt yuv422p -c:v huffyuv", PCM, seconds=3),
    av("utvideo.avi", "Ut Video", "-pix_fmt yuv422p -c:v utvideo", PCM, seconds=3),
    av("cineform.mov", "CineForm", "-pix_fmt yuv422p10le -c:v cfhd", PCM, size="480x272", seconds=3),
    av("jpeg2000.mxf", "JPEG 2000", "-pix_fmt yuv422p -c:v jpeg2000 -format j2k", PCM, seconds=2),
    av("png.mov", "PNG", "-pix_fmt rgb24 -c:v png", PCM, seconds=3),
    # The web
    av("vp9-2997.webm", "VP9, 29.97 fps in milliseconds", "-pix_fmt yuv420p -c:v libvpx-vp9 -deadline"
       " realtime -cpu-used 8 -b:v 500k -lag-in-frames 16 -auto-alt-ref 1", "-c:a libopus", rate=NTSC),
    av("vp8-alt-ref.webm", "VP8 with alternate references", "-pix_fmt yuv420p -c:v libvpx -deadline good"
       " -cpu-used 5 -b:v 500k -lag-in-frames 16 -auto-alt-ref 1", "-c:a libvorbis"),
    av("av1.mkv", "AV1, Opus", "-pix_fmt yuv420p -c:v libsvtav1 -preset 12 -svtav1-params lp=1", "-c:a libopus", seconds=3),
    av("av1.mp4", "AV1, AAC", "-pix_fmt yuv420p -c:v libsvtav1 -preset 12 -svtav1-params lp=1", AAC, seconds=3),
    av("theora.ogv", "Theora, Vorbis", "-pix_fmt yuv420p -c:v libtheora -b:v 500k", "-c:a libvorbis"),
    variable("variable.webm", "A screen: a picture now and then", "-pix_fmt yuv420p -c:v libvpx -deadline"
             " realtime -cpu-used 8 -b:v 300k", "-c:a libopus",
             r"'eq(n,0)+eq(n,3)+eq(n,10)+eq(n,12)+eq(n,40)+eq(n,41)+eq(n,90)+eq(n,97)+eq(n,130)"
             r"+eq(n,149)'"),
    variable("variable.mp4", "A telephone's rate: steps of 1 to 4 of 25 a second", X264 + " -bf 0", AAC,
             r"'not(mod(n,7))+eq(mod(n,7),2)+eq(mod(n,7),3)+eq(mod(n,11),5)'"),
    Clip("still.mkv", "A still picture every two seconds with sound",
         encode(picture("0.5", seconds=8) + tone(8), f"{X264} -tune stillimage {AAC}")),
    # Sound
    sound("pcm-24.wav", "PCM of 24 bits, 5.1", "-c:a pcm_s24le", channels=6),
    sound("pcm.aiff", "PCM, big-endian", "-c:a pcm_s16be"),
    sound("pcm.w64", "PCM", PCM),
    sound("pcm.caf", "PCM", PCM),
    sound("alac.m4a", "ALAC", "-c:a alac"),
    sound("aac.aac", "AAC in ADTS", AAC),
    sound("vorbis.ogg", "Vorbis", "-c:a libvorbis"),
    sound("opus.opus", "Opus", "-c:a libopus"),
    sound("eac3.eac3", "E-AC-3, 5.1, bare", "-c:a eac3", channels=6),
    sound("flac.mka", "FLAC", "-c:a flac"),
    sound("pcm.mxf", "PCM in MXF", PCM + " -f mxf_opatom -mxf_audio_edit_rate 25",
          channels=1),
    with_cover("cover.mp3", "MP3 with a cover", "-c:a libmp3lame -id3v2_version 3"),
    with_cover("cover.flac", "FLAC with a cover", "-c:a flac"),
    with_cover("cover.m4a", "AAC with a cover", AAC),
    # Streams beside picture and sound, and lengths that differ a little
    with_texts("subtitles.mkv", "Two subtitles in eight seconds", "-c:s srt"),
    with_texts("subtitles.mp4", "Two subtitles in eight seconds", "-c:s mov_text"),
    Clip("chapters.mp4", "Chapters as a text track", with_chapters),
    Clip("two-sounds.mkv", "Two streams of sound", encode(
        picture() + tone() + tone(5, 6), f"-map 0 -map 1 -map 2 {X264} -c:a:0 aac -c:a:1 ac3")),
    Clip("two-sounds.mxf", "Four streams of sound", encode(
        picture() + tone(5, 1), f"-map 0 -map 1 -map 1 -map 1 -map 1 {XDCAM} -g 12 -bf 2 {PCM}")),
    av("drop-frame.mov", "Timecode track, drop-frame at 29.97 fps", X264, AAC, rate=NTSC,
       extra=DROP_FRAME, small=True),
    av("drop-frame-5994.mov", "Timecode track, drop-frame at 59.94 fps", X264, AAC, rate=NTSC_DOUBLE,
       extra=DROP_FRAME),
    av("non-drop-2997.mov", "Timecode track, non-drop at 29.97 fps", X264, AAC, rate=NTSC,
       extra="-timecode 01:00:00:00"),
    av("timecode-film.mov", "Timecode track at 23.976 fps", X264, AAC, rate=FILM,
       extra="-timecode 01:00:00:00"),
    av("drop-frame-gop.mpg", "Timecodes of the GOPs, drop-frame", MPEG2 + " -g 15 -bf 2", AC3, rate=NTSC,
       extra="-gop_timecode 00:00:58;00 -f vob"),
    uneven("sound-longer.mp4", "Sound 0.6 s longer", X264, 5, 5.6, AAC),
    uneven("sound-shorter.mp4", "Sound 0.6 s shorter", X264, 5.6, 5, AAC),
    uneven("sound-longer.mkv", "Sound 0.6 s longer", X264, 5, 5.6, AC3),
    uneven("sound-shorter.ts", "Sound 0.6 s shorter", X264, 5.6, 5, MP2),
    Clip("sound-late-a-little.mp4", "Sound begins 0.5 s after the picture", encode(
        picture() + ["-itsoffset", "0.5"] + tone(4.5), f"{X264} {AAC}")),
    Clip("sound-late-a-little.ts", "Sound begins 0.5 s after the picture", encode(
        picture() + ["-itsoffset", "0.5"] + tone(4.5), f"{X264} {MP2}")),
]

GOOD = BASES + CLIPS
