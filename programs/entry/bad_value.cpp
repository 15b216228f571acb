#include "bad_value.h"

#include <iterator>
#include <string_view>
#include <vector>

#include "description.h"

namespace tonvale_entry {

namespace {

using tonvale_service::FailureClass;
using tonvale_service::Reason;

// The parameters that may hold the bad value of a reason of kBadValue, in the order of the reasons.
struct Holders {
    Reason reason;
    std::string_view names;  // separated by blanks; "{}": the one that the object names
};
constexpr Holders kHolders[] = {
    {Reason::kNotUtf8, ""},
    {Reason::kSongNotUtf8, "songs"},
    {Reason::kNotASong, "songs"},
    {Reason::kNotASongId, "id songs song"},
    {Reason::kNotAFolderId, "id"},
    {Reason::kNotAPlaylistId, "id playlist_id"},
    {Reason::kNotADay, "date_available date_expired"},
    {Reason::kFirstDayAlone, "date_expired"},
    {Reason::kLastDayBeforeFirst, "date_expired"},
    {Reason::kUnknownLibrary, "library"},
    {Reason::kUnknownSortKey, "sort_by"},
    {Reason::kUnknownSearchField, "field"},
    {Reason::kEmptyKeyword, "keyword"},
    {Reason::kRandomPart, "sort_by"},
    {Reason::kFiltersTooLong, "album album_artist artist composer genre"},
    {Reason::kNameBesideFilters, "keyword"},
    {Reason::kNameTooLong, "keyword"},
    {Reason::kNoSongsToRate, "id"},
    {Reason::kUnknownPreference, "{}"},
    {Reason::kUnknownPreferenceValue, "{}"},
    {Reason::kUnknownCustomKey, "custom_key"},
    {Reason::kNotAPlaylistName, "name"},
    {Reason::kNotAPersonalFormat, "format"},
    {Reason::kAmbiguousPlaylist, "id"},
    {Reason::kNoSuchPosition, "position"},
    {Reason::kRulesChooseSongs, "id"},
    {Reason::kUnknownPinType, "type"},
    {Reason::kBadPinCriteria, "criteria"},
    {Reason::kBadPinValues, "criteria ids"},
    {Reason::kNotANumber, "value"},
    {Reason::kNotAVolume, "value"},
    {Reason::kNotAGain, "value"},
    {Reason::kNotTenGains, "value"},
    {Reason::kUnknownPlayMode, "value"},
    {Reason::kValueMissing, "value"},
    {Reason::kTooManyValues, "value"},
    {Reason::kTooLongForPlayer, "value"},
    {Reason::kNotAnAbsolutePath, "value"},
    {Reason::kPlayerRefusesValue, "value renderer"},
    {Reason::kNotAnHttpAddress, "stream home_page url"},
    {Reason::kNotAHost, "address renderer"},
    {Reason::kNotAPort, "renderer"},
    {Reason::kObjectIdTooLong, "id ids"},
    {Reason::kUnwritableEntry, "id"},
    {Reason::kNotAUserName, "name"},
    {Reason::kSystemAccount, "name"},
    {Reason::kNotAPassword, "password new"},
    {Reason::kDownloadTooLarge, "id songs"},
    {Reason::kNotAPurpose, "for"},
    {Reason::kTooManySongs, "songs"},
    {Reason::kNotAClient, "client"},
    {Reason::kNotABookmark, ""},
    {Reason::kNotAPlayQueue, "current position client"},
    {Reason::kNotAStationName, "name"},
    {Reason::kBadRule, "rule"},
    {Reason::kNothingToDownload, "id"},
};

constexpr bool HasEveryBadValue() {
    for (std::size_t i = 0; i < std::size(kHolders); ++i) {
        if (kHolders[i].reason != static_cast<Reason>(i)) {
            return false;
        }
    }
    return ClassOf(static_cast<Reason>(std::size(kHolders))) != FailureClass::kBadValue;
}
static_assert(HasEveryBadValue());

}  // namespace

std::string ParameterOf(const tonvale_service::Failure &failure, const Request &asked) {
    if (failure.Class() != FailureClass::kBadValue) {
        return "";
    }
    const std::string_view names = kHolders[static_cast<std::size_t>(failure.Why())].names;
    if (names == "{}") {
        return failure.Object();
    }
    const std::vector<std::string> holders = WordsOf(names);
    std::vector<std::string> given;
    for (const std::string &name : holders) {
        const auto value = asked.Given(name);
        if (value && *value == failure.Object()) {
            return name;
        }
        if (value) {
            given.push_back(name);
        }
    }
    return given.size() == 1                   ? given.front()
           : given.empty() && !holders.empty() ? holders.front()
                                               : "";
}

}  // namespace tonvale_entry
