// Media utilities: covers, downloads, text for the older pages, running programs, and what kind of
// volume a file is on.
//
// Calls that look at covers work as root and leave the process as the package's account "Tonvale";
// the folder that it is in stays. Failures are logged with syslog(3) and
// reported by the result. Nothing throws.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "tonvale/export.h"

extern "C" {

// ---- covers ------------------------------------------------------------------------------------
//
// Paths are volume paths. Those that are answered are cut at `size` - 1 bytes and always end in a
// NUL; a size of 0 writes nothing and still tells whether there is one; 4096 holds all that can be
// opened. After a failure the buffer is as it was. A picture that is answered lies in a folder of
// the users' and may be anything under its name, a link or a FIFO: look at what you open.

// The picture that the indexer extracted from a song: the first file "*APIC*" in the song's
// extended-attribute folder. 0; or -1 when there is none or an argument is null or negative.
TONVALE_EXPORT int VARNAudioGetEmbeddedCoverPath(const char *song, char *buffer, int size) noexcept;

// The picture in a folder, or in a song's folder: the first of cover.jpg, folder.jpg and
// albumart.jpg in any case, with any character for the dot. 0; or -1 when there is none, when a
// file named like the song with ".no_image" in place of its extension says so, or when the path
// cannot be taken apart.
TONVALE_EXPORT int VARNAudioGetFolderCoverPath(const char *path, char *buffer, int size) noexcept;

// The copy of a song's cover `source` that fits in 480 by 480 pixels, "VARNAUDIO_ART_NBAUDIO.jpg"
// in the song's extended-attribute folder. It is made where there is none that is later than the
// source, by a converter that may take a minute. Copies under the names of earlier versions are
// answered while they are later than the source, and removed otherwise. Of a source of more than 64
// MiB, or one that is no regular file, none is made. Song and source may be named by a descriptor
// that the caller holds (varn::DescriptorPath), so that nothing is put in their place. 0 or -1.
TONVALE_EXPORT int VARNAudioGetScaleCoverPath(const char *song, const char *source, char *buffer,
                                              int size) noexcept;

// 1 when both files exist and the second was modified strictly later than the first, else 0.
TONVALE_EXPORT int VARNAudioCheckScaleArt(const char *source, const char *scaled) noexcept;

// Makes a copy of a picture that fits in 480 by 480 pixels; a smaller one keeps its size. Of an
// animation the first frame is taken. Anything but a regular file is refused. A picture whose path
// has a meaning for the converter ("Cover [1].jpg") is copied first, and refused above 64 MiB. The
// target's extension names its format; the copy takes its place when it is whole, is then every
// user's to write (mode 0777) and belongs to user 1024 and group 100 where the process may give it
// away. 0; or -1, with what had the target's name as it was. A converter that does not end is
// killed after a minute, or two seconds after the time that the variable MAGICK_TIME_LIMIT gives
// it.
TONVALE_EXPORT int VARNAudioScaleImage(const char *source, const char *target) noexcept;

// The same for a square of `side` pixels, 1 or more. The source may be named by a descriptor that
// the caller holds (varn::DescriptorPath).
TONVALE_EXPORT int VARNAudioScaleImageTo(const char *source, const char *target, int side) noexcept;

// Removes the files that match a pattern of glob(7).
TONVALE_EXPORT void VARNAudioRemoveFilesByGlob(const char *pattern) noexcept;

// ---- text --------------------------------------------------------------------------------------

// Removes blanks, tabs, CR and LF from both ends of a text, in place. Null is ignored.
TONVALE_EXPORT void strstrip(char *text) noexcept;

// Writes a text with & " < > as HTML entities. The single quote stays: put the result between
// double quotes. Nothing is written, and the destination stays as it was, for a null pointer, an
// empty source, and a destination of less than six bytes for every byte of the source. The result
// ends in a NUL; of a text of double quotes alone that fills the room exactly the last ";" is cut.
TONVALE_EXPORT void VARNHtmlSpecialChar(const char *source, char *destination,
                                        size_t destinationSize) noexcept;

// Prints the navigator of a list page to the standard output: links to the first and previous page,
// a box with the page's number, links to the next and last page. The labels and alternative texts
// go into the markup unescaped; null stands for "". The result is that of the last printf(3).
TONVALE_EXPORT int VARNAudioPrintPageNav(int page, int totalPages, const char *pageLabel,
                                         const char *ofLabel, const char *previousAlt,
                                         const char *firstAlt, const char *nextAlt,
                                         const char *lastAlt) noexcept;

// Writes the MIME type of an extension (without its dot, in any case) according to the pairs of
// "/usr/varn/etc.defaults/mimetypes.txt", of which the last one holds; "application/octet-stream"
// for all others. Cut to fit. Always 0.
TONVALE_EXPORT int VARNAudioGetMimetype(const char *extension, char *destination,
                                        size_t destinationSize) noexcept;

// ---- programs and volumes ----------------------------------------------------------------------

// Runs a program with all three standard descriptors at /dev/null and no others. `argv` begins with
// the program's own name and ends with a null pointer; `path` is not searched for.
// With `wait` not 0 the result is the exit status, 0 to 255 (255 also when the program could not be
// run), or -1 when a signal ended it or it could not be waited for, as in a process that ignores
// SIGCHLD. Otherwise the result is 0 at once, and the caller has to reap the child (waitpid(2), or
// a SIGCHLD action that makes it unnecessary). -1 when no child could be made. While it runs the
// call clears SA_NOCLDWAIT of the SIGCHLD action.
TONVALE_EXPORT int VARNExec(const char *path, char *const argv[], int wait) noexcept;

// 1 when the path lies on a removable volume: below "/volumeUSB" and a number, or on a mounted file
// system, other than the root's, whose block device, or the disk of which that is a partition, is
// on a USB bus or marked removable. Links in the path are not followed, and it need not exist. 0
// for everything else; -1 for a null or relative path.
TONVALE_EXPORT int VARNAudioIsUSBVolume(const char *path) noexcept;

}  // extern "C"

namespace Tonvale {

// ---- downloads ---------------------------------------------------------------------------------

// Fetches one resource over HTTP or HTTPS. Up to 30 redirects to either are followed. Certificates
// are not checked. A transfer may take 120 seconds, of which 30 to connect; when it times out, or a
// name cannot be resolved, it is tried again after a second, three times in all. The process's
// proxy variables hold.
class TONVALE_EXPORT DataDownload {
  public:
    static constexpr int kSuccess = 0;
    static constexpr int kTooLarge = 1;
    static constexpr int kFailure = 3;

    // Null stands for "". A URL for which there is no memory is "", which nothing can be fetched
    // from.
    explicit DataDownload(const char *url) noexcept;
    ~DataDownload();
    DataDownload(const DataDownload &) = delete;
    DataDownload &operator=(const DataDownload &) = delete;

    // The most bytes that are taken, 0 for any number. More are kTooLarge, announced or not.
    void SetMaxSize(int bytes) noexcept { maxSize_ = bytes; }

    // Fetches into `out`, which stays as it was after a failure. The results are kSuccess,
    // kTooLarge and kFailure: any answer but 200 is a failure.
    int Download(std::string &out) noexcept;

    // Fetches into the file `path`, which is made or overwritten, or into memory for a null path.
    // After a failure the file holds what came until then, such as a server's page about an error.
    int CurlExec(const char *path) noexcept;

    // What the last success told; empty or -1 before, and after a failure. The length is the one
    // that the server announced, -1 when it did not; the type is in lower case, with its
    // parameters; the file name is the effective URL's text after its last "/" and before its
    // first "?".
    double ContentLength() const noexcept { return contentLength_; }
    const char *ContentType() const noexcept { return contentType_.data(); }
    const char *FileName() const noexcept { return fileName_.data(); }

    // The steps of CurlExec. Sets libcurl and a connection up; false, and without one, where that
    // cannot be done. CurlUnint takes both down again, and may be called without them.
    bool CurlInit() noexcept;
    void CurlUnint() noexcept;
    // Takes what the connection's last answer told, and its file name, into the fields above;
    // without a connection nothing.
    void CurlGetInfo() noexcept;
    // The file name that a URL ends in.
    void ParseUrl(const std::string &url) noexcept;
    // Makes the letters A to Z of a text small, in place.
    static void ToLower(char *text) noexcept;

  private:
    struct Connection;

    int Perform(const char *path);
    void Forget() noexcept;

    std::string url_;
    std::unique_ptr<Connection> connection_;
    double contentLength_ = -1;
    std::array<char, 255> contentType_ = {};
    std::array<char, 257> fileName_ = {};
    int maxSize_ = 0;
    std::string result_;
};

// Fetches a picture: JPEG or PNG, from a web URL, of a limited size.
class TONVALE_EXPORT ImageDownload {
  public:
    explicit ImageDownload(const char *url) noexcept;

    // Fetches into the file `path`, under the rules of DataDownload::CurlExec. True when that
    // succeeded and the picture passes IsImageType and IsReasonableLength; a regular file that
    // holds anything else is removed, and one that was there before a URL was refused for its
    // beginning stays. `maxSize` is in bytes, 0 or less for no limit.
    bool Download(const char *path, long maxSize) noexcept;

    // "jpg" or "png" after a success.
    const char *Extension() const noexcept { return extension_.data(); }

    // True for a URL that begins with "http://" or "https://", in any case.
    static bool IsValidUrlPrefix(const std::string &url) noexcept;

    // True when what was fetched says that it is a picture: by the type "image/jpeg" or
    // "image/png", without parameters, or else by the extension "jpg" or "png" of the file name.
    // What the bytes are is not looked at.
    bool IsImageType() noexcept;

    // True when an announced length is within the limit of the last Download. A length that was not
    // announced (-1) is within no limit.
    bool IsReasonableLength(double length) const noexcept;

  private:
    std::string url_;
    DataDownload download_;
    std::array<char, 16> extension_ = {};
    long maxSize_ = 0;
};

}  // namespace Tonvale
