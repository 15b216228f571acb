// What lists of songs keep beside the records: ratings and replay gain, in a hash of texts.
#include <cstdlib>
#include <string>
#include <string_view>

#include "linux/error.h"
#include "linux/memory.h"
#include "varn/database.h"
#include "varn/number.h"

namespace {

// After the rating, where the song has them.
constexpr char kGainFields[][16] = {"rg_track_gain", "rg_track_peak", "rg_album_gain",
                                    "rg_album_peak"};

const char *Field(const MEDIA_DB_HANDLE &handle, const char *column) {
    return varn::Row(handle.result, handle.cursor - 1).TextIfAny(column);
}

// "RATING" or "RATING GAIN PEAK GAIN PEAK"; a number that is not known is 0 beside one that is.
std::string ValueOf(const MEDIA_DB_HANDLE &handle) {
    std::string value = Field(handle, "star");
    std::string gains;
    bool known = false;
    for (const auto &field : kGainFields) {
        const char *const number = Field(handle, field);
        known = known || NonEmptyStr(number);
        gains += std::string(" ") + (NonEmptyStr(number) ? number : "0");
    }
    return known ? value + gains : value;
}

void Release(_REPLAYGAIN_METADATA_ **gain) {
    if (gain != nullptr) {
        std::free(*gain);
        *gain = nullptr;
    }
}

// False when memory is short.
bool Fill(_REPLAYGAIN_METADATA_ **gain, const _REPLAYGAIN_METADATA_ &values) {
    if (*gain == nullptr) {
        *gain = static_cast<_REPLAYGAIN_METADATA_ *>(std::malloc(sizeof values));
    }
    if (*gain == nullptr) {
        varn::SetError(VLIB_ERR_OUT_OF_MEMORY);
        return false;
    }
    **gain = values;
    return true;
}

}  // namespace

void VARNPlaylistRecFree(PLAYLIST_REC *list) {
    while (list != nullptr) {
        const varn::MallocPtr<PLAYLIST_REC> entry(list);
        list = entry->next;
    }
}

int SetSongHashValueByDBHandler(PVLIBSZHASH *hash, const MEDIA_DB_HANDLE *handle,
                                const VARN_MEDIA_INFO *record) {
    if (hash == nullptr || *hash == nullptr || handle == nullptr || record == nullptr ||
        handle->cursor < 1) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        return VLIBCSzHashSetValue(hash, std::to_string(record->id).c_str(),
                                   ValueOf(*handle).c_str());
    });
}

int GetSongHashValue(PVLIBSZHASH *hash, const PLAYLIST_REC *entry, std::string &rating,
                     _REPLAYGAIN_METADATA_ **gain) {
    if (hash == nullptr || *hash == nullptr || entry == nullptr) {
        varn::SetError(VLIB_ERR_BAD_PARAMETER);
        rating.clear();
        Release(gain);
        return -1;
    }
    return varn::Guarded(-1, [&] {
        rating.clear();
        const char *const value =
            VLIBCSzHashGetValue(*hash, std::to_string(entry->info.id).c_str());
        if (value == nullptr) {
            Release(gain);
            return -1;
        }
        std::string_view gains(value);
        rating = gains.substr(0, gains.find(' '));
        gains.remove_prefix(rating.size());
        _REPLAYGAIN_METADATA_ values = {};
        bool known = true;
        for (float *const number :
             {&values.track_gain, &values.track_peak, &values.album_gain, &values.album_peak}) {
            const std::size_t before = gains.size();
            *number = varn::TakeNumber<float>(gains);
            known = known && gains.size() < before;
        }
        if (!known) {
            Release(gain);
            return 0;
        }
        return gain == nullptr || Fill(gain, values) ? 0 : -1;
    });
}
