// The fixed places of a Tonvale system, and the root in front of them.
#pragma once

#include <string>
#include <string_view>

#include "varn/export.h"

// Puts the root in front of a fixed system path: the value of TONVALE_ROOT, without a trailing
// slash, which is read once for the life of the process (secure_getenv(3), so a set-user-id
// program ignores it). A relative one counts from the folder the process is in at that time.
// Without that variable the path comes back unchanged: a real installation has no root. Shares,
// home folders and music are real absolute paths and are never passed through here.
VARN_EXPORT std::string SystemPath(std::string_view fixedPath);

// The root itself, or "" on a real installation.
VARN_EXPORT const std::string &SystemRoot();

namespace varn {

// The package's account, which is also its role in the database, and the library database.
inline constexpr char kPackageAccount[] = "Tonvale";
inline constexpr char kLibraryDatabase[] = "mediaserver";

// The environment variable that names a second of a song's file to the encoder: the end of what is
// announced. The encoder adds silence to a file that ends before it.
inline constexpr char kEncoderFill[] = "TONVALE_ENCODER_FILL";

// The environment variable that names the converter's own folder for one picture to it. The folder
// holds its settings and, under these names, a copy of the picture and the result (which has the
// target's extension), and nothing else.
inline constexpr char kConverterFolder[] = "TONVALE_CONVERTER_FOLDER";
inline constexpr char kConverterPicture[] = "picture";
inline constexpr char kConverterResult[] = "scaled";

}  // namespace varn

namespace varn::path {

// Accounts; used only below a root, a real installation asks the system's own name service.
inline constexpr std::string_view kPasswd = "/etc/passwd";
inline constexpr std::string_view kGroup = "/etc/group";

// Platform configuration.
inline constexpr std::string_view kVersion = "/etc.defaults/VERSION";
inline constexpr std::string_view kSystemInfo = "/etc/varninfo.conf";  // code page, outside address
inline constexpr std::string_view kShares = "/usr/varn/etc/share.conf";
inline constexpr std::string_view kIndexFolders = "/usr/varn/etc/index_folder.conf";
inline constexpr std::string_view kServiceAnswers = "/usr/varn/etc/webapi";
inline constexpr std::string_view kPreferences = "/usr/varn/etc/preference";
// Who may use an application: a key-value file for each, in the folder (varn/account.h).
inline constexpr std::string_view kAppPrivileges = "/usr/varn/etc/app_privilege";
inline constexpr std::string_view kHomes = "/var/services/homes";
inline constexpr std::string_view kMimeTypes = "/usr/varn/etc.defaults/mimetypes.txt";
inline constexpr std::string_view kConvert = "/usr/bin/convert";  // makes covers smaller
inline constexpr std::string_view kDynamicDns = "/usr/varn/sbin/varnddnsinfo";
inline constexpr std::string_view kRelayDaemon = "/usr/varn/sbin/varnrelayd";
inline constexpr std::string_view kIndexer = "/usr/varn/bin/varnindex";

// The package.
inline constexpr std::string_view kPackageConf = "/var/packages/Tonvale/etc/audio.conf";
inline constexpr std::string_view kPackageDefaultConf =
    "/var/packages/Tonvale/target/etc/audio.conf";
inline constexpr std::string_view kEncoder = "/var/packages/Tonvale/target/bin/ffmpeg";
inline constexpr std::string_view kUsersFile = "/var/packages/Tonvale/etc/audio.users";
inline constexpr std::string_view kCustomKeys = "/var/packages/Tonvale/etc/custom_key.json";
inline constexpr std::string_view kPasswords = "/var/packages/Tonvale/etc/password.json";
inline constexpr std::string_view kMultiAirplay = "/var/packages/Tonvale/etc/multiairplay.json";
inline constexpr std::string_view kMultiBluetooth = "/var/packages/Tonvale/etc/multibluetooth.json";

// The shared smart playlists (varn/playlistsvc.h), and the key of the platform's string encryption
// (varn/crypt.h).
inline constexpr std::string_view kSmartPlaylists = "/etc/mt-daapd.playlist";
inline constexpr std::string_view kCryptKey = "/var/lib/Tonvale/crypt.key";

// The web API: its program, the logins (htpasswd(5)), the first login in clear text, where
// requests, encoders and converters of pictures take their turn, and where small covers are kept.
inline constexpr std::string_view kWebApi = "/var/packages/Tonvale/target/www/webapi/entry.cgi";
inline constexpr std::string_view kLogins = "/var/packages/Tonvale/etc/logins";
inline constexpr std::string_view kInitialLogin = "/etc/initial-login";
inline constexpr std::string_view kEncoderSlots = "/var/run/Tonvale/encoders";
inline constexpr std::string_view kCoverCopies = "/var/cache/Tonvale/covers";

// What the web server reads and writes, in folders of the account that starts it. As root it does
// what its configuration says, so none of them lies in a folder of the package's account.
inline constexpr std::string_view kWebConf = "/var/run/Tonvale-web/nginx.conf";
inline constexpr std::string_view kWebPid = "/var/run/Tonvale-web/nginx.pid";
inline constexpr std::string_view kWebSocket = "/var/run/Tonvale-web/web.sock";
inline constexpr std::string_view kWebPage = "/var/run/Tonvale-web/page";
inline constexpr std::string_view kWebTemporary = "/var/spool/Tonvale-web";
inline constexpr std::string_view kWebLogDir = "/var/log/Tonvale-web";
inline constexpr std::string_view kWebLog = "/var/log/Tonvale-web/serve.log";

// The player and the sound cards. Cards have a digit after the names of their devices (none for
// card 0), and their number after the name of their folder.
inline constexpr std::string_view kSystemEqualizer =
    "/var/packages/Tonvale/target/etc/equalizer.system";
inline constexpr std::string_view kUserEqualizer = "/var/packages/Tonvale/etc/equalizer.user";
inline constexpr std::string_view kMixerDevice = "/dev/mixer";
inline constexpr std::string_view kAudioDevice = "/dev/dsp";
inline constexpr std::string_view kSoundCard = "/proc/asound/card";
inline constexpr std::string_view kKernelVolume = "/proc/asound/varn_audio_volume";

inline constexpr std::string_view kPlayerSocket = "/var/run/Tonvale/player.sock";
inline constexpr std::string_view kCheckSupport =
    "/var/packages/Tonvale/target/pkgbin/audio_check_support";

// The indexer's notices (varn/notify.h).
inline constexpr std::string_view kSpoolDir = "/var/spool/Tonvale";
inline constexpr std::string_view kNotifySpool = "/var/spool/Tonvale/notify";
inline constexpr std::string_view kNotifySocket = "/var/run/Tonvale/varnindex.sock";

// What the indexer does (varn/scan_state.h), and where listeners to events are handed over.
inline constexpr std::string_view kScanState = "/var/run/Tonvale/indexing";
inline constexpr std::string_view kEventSocket = "/var/run/Tonvale/events.sock";

// Lists as the programs have computed them (service/lists/kept_list.h). All of it may be removed.
inline constexpr std::string_view kKeptLists = "/var/run/Tonvale/lists";

// The library database.
inline constexpr std::string_view kDatabaseSocketDir = "/var/run/Tonvale";
inline constexpr std::string_view kDatabaseSocket = "/var/run/Tonvale/.s.PGSQL.5432";
inline constexpr std::string_view kClusterData = "/var/lib/Tonvale/postgresql";
// The folders that were registered at the last whole scan, one a line; on an external server only.
inline constexpr std::string_view kIndexedList = "/var/lib/Tonvale/indexed";
inline constexpr std::string_view kClusterLog = "/var/log/Tonvale/postgresql.log";

}  // namespace varn::path
