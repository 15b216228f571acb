#include <array>
#include <charconv>
#include <string_view>

#include "support/boundary.h"
#include "support/log.h"
#include "support/statement.h"
#include "tonvale/webapi.h"
#include "varn/sql.h"
#include "webapi_utils/source.h"

namespace {

namespace support = Tonvale::support;

using Tonvale::webapi_utils::kSource;

int Correct(VARN_MEDIA_INFO &record) {
    const varn::Connection conn = support::Connect(kSource);
    if (!conn) {
        return 0;
    }
    const auto rows = support::Execute(kSource, conn.get(),
                                       varn::Sql("SELECT duration FROM track WHERE path = "
                                                 "'@VARN:VAR' AND is_virtual = 'FALSE'",
                                                 record.path));
    if (!rows) {
        return 0;
    }
    if (rows->IsEmpty()) {
        LOG_ERROR(kSource, "Failed to fetch row");
        return 0;
    }
    const std::string_view whole = (*rows)[0].TextIfAny("duration");
    double seconds = 0;  // stays without a number, as NULL has none
    std::from_chars(whole.data(), whole.data() + whole.size(), seconds);
    if (seconds == 0) {
        return 1;  // or each list that shows the track would change the library
    }
    record.duration = static_cast<float>(static_cast<double>(record.duration) + seconds);
    std::array<char, 64> text = {};
    // As "%f" writes it, whatever the process's locale.
    std::to_chars(text.begin(), text.end() - 1, record.duration, std::chars_format::fixed, 6);
    return support::Execute(kSource, conn.get(),
                            varn::Sql("UPDATE track SET duration = '@VARN:VAR' WHERE path = "
                                      "'@VARN:VAR' AND is_virtual = 'TRUE' AND track = @VARN:INT",
                                      text.data(), record.path, record.track))
               ? 1
               : 0;
}

}  // namespace

int VARNAudioWebapiCorrectVirtualMusicDuration(VARN_MEDIA_INFO *record) noexcept {
    if (record == nullptr) {
        return 0;
    }
    return support::Guarded(kSource, 0, [&] { return Correct(*record); });
}
