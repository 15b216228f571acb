// Streaming: songs and streams through the encoder to standard output, and places in MPEG audio
// files.
//
// Failures are reported by the result and logged with syslog(3) at error level. Nothing throws.
#pragma once

#include <cstdint>
#include <cstdio>

#include "tonvale/export.h"
#include "varn/mediaindex.h"

// ---- places in MPEG audio files ----------------------------------------------------------------

// The last bytes of a file, in which no frame is looked for.
enum { TONVALE_MPEG_TAIL = 10 };

// A file that is read byte by byte through a buffer. Zero it, then set `stream` and `fileSize`; the
// rest is the reader's own. Its opener closes the stream.
typedef struct _MPEG_READER_ {
    FILE *stream;      // opened with mode "rb"; its position is not kept
    int64_t fileSize;  // bytes
    unsigned char buffer[16384];
    int64_t rangeStart;  // the bytes of the file that the buffer holds,
    int64_t rangeEnd;    // the end not among them
} MPEG_READER;

// The header of one frame (ISO/IEC 11172-3 and 13818-3, 2.4.1.3). Zero it before use.
typedef struct _MPEG_FRAME_HEADER_ {
    int version;         // 1: MPEG-1, 2: MPEG-2, 3: MPEG-2.5
    int layer;           // 1, 2 or 3; -1 for the reserved one
    int isProtected;     // 1: a checksum follows the header
    int bitRate;         // kbit/s; 0 for a frame of free format
    int bitsPerSecond;   // the same in bit/s
    int sampleRate;      // Hz
    int channelMode;     // 0 stereo, 1 joint stereo, 2 dual channel, 3 single channel
    int padding;         // 1: the frame is one slot longer
    int modeExtension;   // of joint stereo; -1 otherwise
    int emphasis;        // 0 to 3
    int copyRestricted;  // 1: copyrighted
    int firstCopy;       // 1: original
    double duration;     // seconds that the whole file would last at this bit rate
    int frameLength;     // bytes of this frame, header and padding included
    int64_t position;    // of the header's first byte in the file
} MPEG_FRAME_HEADER;

// The byte at an offset of the file. A byte outside the buffered range refills the buffer from that
// byte on. What cannot be read (an offset after the end, below 0, an error) reads as 17, like an
// ordinary byte.
TONVALE_EXPORT int GetByte(MPEG_READER *reader, int64_t offset) noexcept;

// Looks for a frame header from *position on, and leaves *position at the first bytes that look
// like one, whether or not they are one. 1 with *header filled; or 0 when those bytes are no usable
// header (*header is then partly filled; the next place to look is *position + 1), and, with a log
// line, when the file has no more (*position is then at the first of the file's last 10 bytes, or
// unchanged after it) and for a null argument.
//
// Frames of MPEG-2.5, of a reserved layer, version or rate, and of free format are not usable;
// a free-format frame with padding counts as one as long as its padding, with an infinite duration.
// Frames of MPEG-2 layer 2 are taken for half as long as they are.
TONVALE_EXPORT int ParseMPEG(MPEG_READER *reader, int64_t *position,
                             MPEG_FRAME_HEADER *header) noexcept;

// The offset at which `frames` frames of a file have passed, counted from the end of a leading
// ID3v2 tag: that end itself for 0 or less. Zero bytes between frames, the last one excepted, and
// junk are passed over. With more frames than the file has: the place at which the walk ended. 0
// when the file cannot be read.
TONVALE_EXPORT int64_t GetSeekOffset(const char *path, int frames) noexcept;

// ---- songs and streams on standard output ------------------------------------------------------

// The calls below write one CGI answer (RFC 3875, 6.2), header and body, to standard output: the
// output of the encoder "/var/packages/Tonvale/target/bin/ffmpeg", which they start as root and
// end. They return 0, or -1: the answer is then cut short or, when nothing could be started, not
// begun. A reader that goes away is such a failure, also while the encoder is silent; SIGPIPE,
// where it is not ignored, ends the process instead when it comes while something is written. The
// effective user of the process changes while the encoder is started.
//
// For a song whose duration and bit rate are known the length is announced, as an estimate from
// both that is never exceeded. It is not reached where the estimate is too long, unless the
// environment has the encoder fill it up (varn::kEncoderFill of varn/systempath.h). A byte range of
// the request (HTTPFileOutputer::SeekHttpRange of varn/webapi.h) is answered with 206: the encoder
// is started again at the last whole second before the range. The header of that later
// stream is not part of the sound: a range of WAV that begins in its place has silence there.
//
// A virtual song's start in its file is added to the seek; without audio_offset in the record it is
// looked up in the library.

extern "C" {

// The sampling rate, in Hz, that a song is resampled to: 48000 for multiples of it, else 44100.
TONVALE_EXPORT int VARNAudioCalcOutputSampleRate(int rate) noexcept;

// Streams a song as "mp3" or "wav" (16-bit stereo) from `seek` seconds on. `bitRate` is that of the
// MP3 in bits per second, 0 for 128000; it does not count for WAV. Any other format, and null
// arguments, are refused with nothing written. The header of a WAV answer holds the lengths of what
// is announced for the whole answer.
TONVALE_EXPORT int VARNAudioTranscodeSong(const VARN_MEDIA_INFO *song, const char *format,
                                          int64_t seek, int64_t bitRate) noexcept;

// Streams a song from `seek` seconds on as it is, without encoding it again. The encoder is asked
// for a format named like the file's extension and may not know one. There is a Content-Type for
// mp3 and wav only; the length is estimated from the song's own bit rate.
TONVALE_EXPORT int VARNAudioSeekSong(const VARN_MEDIA_INFO *song, int seek) noexcept;

// Streams what the encoder finds at a URL as "mp3" or "flv", from `seek` seconds on; no length, no
// ranges. The encoder opens whatever the text names, files of this machine and addresses of its
// network included: check it first. Refused with nothing written: null arguments, another format,
// a URL that takes 4096 bytes or more when it is quoted for a shell.
TONVALE_EXPORT int VARNAudioTranscodeUrl(const char *url, const char *format,
                                         int64_t seek) noexcept;

}  // extern "C"
