// Players, speakers and the sound card.
//
// Failures are reported by the result and, unless a call says otherwise, logged with syslog(3) at
// error level. Nothing throws, and no state is kept between calls.
#pragma once

#include "tonvale/export.h"

// ---- commands to the player daemon -------------------------------------------------------------

// What the daemon can be asked to do; the numbers are the protocol.
enum VARN_AUDIO_COMMAND : int {
    VARN_AUDIO_JUMP = 8,
    VARN_AUDIO_SEEK = 9,
    VARN_AUDIO_SET_VOLUME = 11,
    VARN_AUDIO_SET_MULTIPLE_VOLUMES = 12,
    VARN_AUDIO_MULTI_AIRPLAY_REFRESH = 18,
    VARN_AUDIO_MULTI_BLUETOOTH_REFRESH = 19,
    VARN_AUDIO_SEARCH_SERVER = 20,
    VARN_AUDIO_SEARCH_RENDERER = 21,
    VARN_AUDIO_LIST_SERVER = 22,
    VARN_AUDIO_LIST_RENDERER = 23,
    VARN_AUDIO_PLAYER_INFO = 26,
    VARN_AUDIO_DELETE = 27,
    VARN_AUDIO_DELETE_ALL = 28,
    VARN_AUDIO_SET_INDEX = 29,
    VARN_AUDIO_SET_MODE = 30,
    VARN_AUDIO_LIST_PLAYLIST = 32,
    VARN_AUDIO_RESET_REFRESH = 33,
    VARN_AUDIO_SET_REFRESH = 34,
    VARN_AUDIO_SET_EQUALIZER = 40,
    VARN_AUDIO_OUTPUT_PLAYLIST = 42,
    VARN_AUDIO_ADD_FROM_FILE = 43,
    VARN_AUDIO_PLAYER_INFO_BY_UDN = 44,
    VARN_AUDIO_PLAYER_INFO_BY_INDEX = 45,
    VARN_AUDIO_REFRESH_LOG_LEVEL = 46,

    // For VARNAudioCtrlSend. A daemon may lack any of them: `can` of its state tells
    // (docs/players.md).
    VARN_AUDIO_PAUSE = 1000,
    VARN_AUDIO_RESUME = 1001,
    VARN_AUDIO_STOP = 1002,
    VARN_AUDIO_NEXT = 1003,
    VARN_AUDIO_PREVIOUS = 1004,
    VARN_AUDIO_ENABLE_RENDERER = 1005,
    VARN_AUDIO_DISABLE_RENDERER = 1006,
};

enum { VARN_AUDIO_BANDS = 10 };

extern "C" {

// Each call sends one command (varn/player.h, which also tells how long that may take) and returns
// what VARNAudioCtrlSend returns: 0 or above, the length of the answer, or -1 when the daemon could
// not be asked, which is not logged. What the daemon makes of a command is its own business:
// numbers go to it unchecked, unless a call says otherwise, and only an answer can tell of a
// refusal. Answers of calls without a buffer are thrown away.
//
// Texts are cut to 8191 bytes. A null text is logged and gives -1, and nothing is sent.

// Plays the queue's song `index`, counted from 0; sets the place in the song, in seconds.
TONVALE_EXPORT int VARNAudioJump(int index) noexcept;
TONVALE_EXPORT int VARNAudioSeek(int position) noexcept;

// Sets the volume, 0-100, of the player or, in a form that the daemon settles, of each device of a
// group.
TONVALE_EXPORT int VARNAudioSetVolume(int volume) noexcept;
TONVALE_EXPORT int VARNAudioSetMultipleVolumes(const char *volumes) noexcept;

// Has the chosen devices of a group read again.
TONVALE_EXPORT int VARNAudioMultiAirPlayRefresh(void) noexcept;
TONVALE_EXPORT int VARNAudioMultiBluetoothRefresh(void) noexcept;

// Starts a search for media servers or renderers; the lists below have what was found.
TONVALE_EXPORT int VARNAudioSearchServer(void) noexcept;
TONVALE_EXPORT int VARNAudioSearchRenderer(void) noexcept;

// Ask for a page of what was found or queued, and for the player's state. The answer goes with its
// NUL into `out` (size bytes); what does not fit is cut. A null `out` or `udn` and a size below 1
// are logged and give -1. After a failure of the daemon `out` is "".
TONVALE_EXPORT int VARNAudioListServer(int offset, int limit, char *out, int size) noexcept;
TONVALE_EXPORT int VARNAudioListRenderer(int offset, int limit, char *out, int size) noexcept;
TONVALE_EXPORT int VARNAudioListPlaylist(int offset, int limit, char *out, int size) noexcept;
TONVALE_EXPORT int VARNAudioPlayerInfo(char *out, int size) noexcept;
TONVALE_EXPORT int VARNAudioPlayerInfoByUDN(const char *udn, char *out, int size) noexcept;
TONVALE_EXPORT int VARNAudioPlayerInfoByIndex(int index, char *out, int size) noexcept;

// Takes one song, or all, off the queue. An index below 0 is logged and gives -1.
TONVALE_EXPORT int VARNAudioDelete(int index) noexcept;
TONVALE_EXPORT int VARNAudioDeleteAll(void) noexcept;

// Makes a song the current one without playing it; sets the way of playing.
TONVALE_EXPORT int VARNAudioSetIndex(int index) noexcept;
TONVALE_EXPORT int VARNAudioSetMode(int mode) noexcept;

// Resets and sets the mark that tells the clients of the daemon to ask anew.
TONVALE_EXPORT int VARNAudioResetRefresh(void) noexcept;
TONVALE_EXPORT int VARNAudioSetRefresh(void) noexcept;

// Sets the equalizer: VARN_AUDIO_BANDS gains in decibels, sent with one decimal.
TONVALE_EXPORT int VARNAudioSetEqualizer(const float *gains) noexcept;

// Has the queue written to a file, or a queue file's songs added to the queue.
TONVALE_EXPORT int VARNAudioOutputPlaylist(const char *path) noexcept;
TONVALE_EXPORT int VARNAudioAddFromFile(const char *path) noexcept;

// Has the daemon read again how much it is to log.
TONVALE_EXPORT int VARNAudioRefreshLogLevel(void) noexcept;

// ---- sockets and shared memory of the daemon ---------------------------------------------------

// Makes a listening local stream socket, in place of whatever file is at the path. Returns its
// descriptor (close-on-exec, for close(2)) or -1. A path of 108 bytes or more is cut for the
// address. In either case the path gets mode 0764, and as owner root and the group whose number is
// the user id of the package's account.
TONVALE_EXPORT int DomainSocketCreate(const char *path, int backlog) noexcept;

// Makes a listening IPv4 socket on every address of the machine, at *port or, while that is taken,
// at the next higher one, up to 65535; *port is then the one in use. With *port 0 the system
// chooses, and getsockname(2) tells. Returns the descriptor (close-on-exec) or -1, *port being the
// last one that was tried.
TONVALE_EXPORT int DACPSocketCreate(int *port, int backlog) noexcept;

// Takes a pending connection of a listening socket. Never waits, unless another process also
// accepts from it and the listener is not O_NONBLOCK. Returns its descriptor (close-on-exec), or
// -1, which is not logged when no client was waiting.
TONVALE_EXPORT int SocketAccept(int listener) noexcept;

// Maps a System V shared memory segment (shmget(2)) for reading and writing; with `create` not 0 a
// missing one is made, readable and writable for every user. The size in bytes must not be larger
// than that of an existing segment. Null on failure; else released with VARNAudioShmDetach, 0 or
// -1. The segment stays until VARNAudioShmRemove (the size as above; 0 or -1) and until no process
// has it mapped.
TONVALE_EXPORT void *VARNAudioShmAttach(int key, int size, int create) noexcept;
TONVALE_EXPORT int VARNAudioShmDetach(const void *address) noexcept;
TONVALE_EXPORT int VARNAudioShmRemove(int key, int size) noexcept;

// ---- what can be played and where --------------------------------------------------------------

// 1 when the package's program "audio_check_support" says (by exit status 1) that there is USB or
// Bluetooth sound, else 0.
TONVALE_EXPORT int VARNAudioIsSupportUSB(void) noexcept;
TONVALE_EXPORT int VARNAudioIsSupportBlueTooth(void) noexcept;

// 1 when a kind of renderer can play a file, by its name alone, else 0. Type 0 plays everything,
// even a null path. Every other one plays web addresses ("http..."), and files with an extension
// from its list, in upper or lower case. "dsf" and "dff" also need "support_dsd_decode" in the
// package's defaults.
TONVALE_EXPORT int VARNAudioIsSupportFormat(int rendererType, const char *path) noexcept;

// ---- equalizer, volume and sound card ----------------------------------------------------------

// The values of the selected equalizer profile, as its line has them without the blanks round them,
// into `out` (size bytes, cut to that). A profile is looked up in "equalizer.system" and then in
// "equalizer.user", one "name:values" a line of at most 1023 bytes; a line's name stands for every
// wanted name that begins with it.
// 1 when it was found; 0 when the equalizer is off, no profile is selected or neither file has it;
// -1 when a file that was looked into cannot be read (a missing user file is not logged) or has a
// line without a colon before the profile. `out` is as it was unless the result is 1.
TONVALE_EXPORT int VARNAudioGetEqualizer(char *out, int size) noexcept;

// The highest card, 7-0, whose mixer opens for reading; the paths of its mixer and audio device
// ("/dev/mixer3", "/dev/dsp3"; without a digit for card 0; without the root in front) go into the
// buffers, either of which may be null, cut to their sizes. -1, not logged, when there is none.
TONVALE_EXPORT int VARNAudioCardGet(char *mixer, int mixerSize, char *dsp, int dspSize) noexcept;

// The volume in the package configuration, 0-100. A value outside is set as the nearer end, and
// read so too: the administrator's file may hold any number. Reading gives -1 when there is none or
// it is no number; setting gives 0 or -1.
TONVALE_EXPORT int VARNAudioConfVolumeGet(void) noexcept;
TONVALE_EXPORT int VARNAudioConfVolumeSet(int volume) noexcept;

// The volume of the highest card's mixer, 0-100, the mean of both sides; 0 for a mixer without
// channels, -1 when there is no card or it cannot be read. Runs as root while it reads and as the
// package's account afterwards: for single-threaded processes.
TONVALE_EXPORT int VARNAudioKernelVolumeGet(void) noexcept;

// Sets the volume, 0-100 (values outside become the nearer end), of every card's mixer, both sides
// alike. 0 when one of them took it, else -1.
TONVALE_EXPORT int VARNAudioKernelVolumeSet(int volume) noexcept;

// Store the kernel's volume, from "/proc/asound/varn_audio_volume", in the configuration, and give
// that of the configuration to the mixers. 0, or -1 when the source cannot be read or the target
// cannot be written.
TONVALE_EXPORT int VARNAudioVolumeSyncConf(void) noexcept;
TONVALE_EXPORT int VARNAudioVolumeSyncKernel(void) noexcept;

// 1 when the highest card's mixer has a channel, 0 when it has none, -1 when there is no card or it
// cannot be read. Changes whom the process runs as like VARNAudioKernelVolumeGet.
TONVALE_EXPORT int VARNAudioCheckHardwareMixer(void) noexcept;

// 0 (!) when the highest card's stream description names a format of 24 or 32 bits, -1 when it does
// not or cannot be read.
TONVALE_EXPORT int VARNAudioCheckHardwareSupportHighRes(void) noexcept;

}  // extern "C"

// ---- AirPlay speakers --------------------------------------------------------------------------

// What a speaker answers to an RTSP request (RFC 2326). Each question may take up to 5 seconds, or
// 10 for TestPassword, which may ask twice. The host and port go into the request's address as they
// are: check names from outside before. Different threads may ask at once.
namespace Tonvale::airplay {

enum AIRPLAY_STATUS : int {
    AIRPLAY_REACHABLE = 0,  // it took the request
    AIRPLAY_PASSWORD = 1,   // it asks for a password, or for another one
    AIRPLAY_BUSY = 2,       // somebody else is playing on it
    AIRPLAY_FAILED = 3,     // it did not answer, or something else
};

// The meaning of an RTSP status code: 200, 401 and 453, in the order above; any other is logged and
// counts as failed.
class TONVALE_EXPORT AirplayStatus {
  public:
    explicit AirplayStatus(int rtspCode) noexcept;
    int Get() const noexcept { return status_; }

  private:
    int status_ = AIRPLAY_FAILED;
};

struct PasswordNeed {
    bool known;   // the speaker answered
    bool needed;  // it asks for a password; false when that is not known
};

// Asks a speaker whether it wants a password. A busy one is not known to.
TONVALE_EXPORT PasswordNeed IsNeedPassword(const char *host, const char *port) noexcept;

// Tries a password: AIRPLAY_REACHABLE when it is right or none is needed, AIRPLAY_PASSWORD when it
// is wrong, else what keeps it from being tried. A null password fails where one is asked for. It
// goes out as a digest (RFC 2069) for the user "iTunes" and is never logged; a speaker that is not
// the one it pretends to be can try passwords against that digest at leisure. Of realm and nonce
// 255 bytes count, and of a password what fits into 1023 bytes with the user and the realm.
TONVALE_EXPORT int TestPassword(const char *host, const char *port, const char *password) noexcept;

}  // namespace Tonvale::airplay
