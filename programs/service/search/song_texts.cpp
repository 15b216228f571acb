#include "service/search/song_texts.h"

#include <cstdint>
#include <cstring>

#include "service/lists/list.h"
#include "service/search/search_tables.h"

namespace tonvale_service {

namespace {

// What a record begins with. The form follows, and after a null byte its words if they differ.
struct Head {
    std::int32_t track;
    std::uint32_t owner;
    char kind;
};

// Reading so many takes a tenth of a second.
constexpr std::size_t kReadInATenth = 30'000;

constexpr int kRowsAtATime = 10'000;

std::string RecordOf(const varn::Row &row) {
    const Head head = {static_cast<std::int32_t>(row.Number("track")),
                       static_cast<std::uint32_t>(row.Number("userid")), *row.Text("kind")};
    std::string record(reinterpret_cast<const char *>(&head), sizeof head);
    record += row.Text("form");
    if (const std::string_view words = row.Text("words"); !words.empty()) {
        record += '\0';
        record += words;
    }
    return record;
}

// All texts in `order`, and the version that has them.
std::vector<std::string> Read(const std::string &order, Version &version) {
    std::vector<std::string> records;
    AskTables([&](varn::Database &database) {
        // One state of the library for all statements.
        database.Execute("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY");
        version.songs =
            database.Query("SELECT change_number('song', 0) AS songs")[0].Number("songs");
        database.Execute(
            "DECLARE texts NO SCROLL CURSOR FOR SELECT s.track, s.userid, s.kind,"
            " s.form, s.words FROM song_text s ORDER BY " +
            order + ", s.track");
        const std::string fetch = "FETCH " + std::to_string(kRowsAtATime) + " FROM texts";
        for (bool isMore = true; isMore;) {
            const varn::Rows rows = database.Query(fetch);
            for (const varn::Row row : rows) {
                records.push_back(RecordOf(row));
            }
            isMore = rows.Count() == kRowsAtATime;
        }
        database.Execute("COMMIT");
    });
    return records;
}

bool IsGoodEnough(const KeptList &kept) {
    return kept.Age() < static_cast<std::int64_t>(kept.Count() / kReadInATenth) ||
           kept.OfVersion().songs == ReadVersion(0).songs;
}

}  // namespace

SongTexts SongTexts::Now() {
    const std::string order = Expression({"title", "s.title_sort", true});
    const ListKey key("texts", order);
    SongTexts texts;
    texts.kept_ = KeptList::Of(key);
    if (!texts.kept_ || !IsGoodEnough(*texts.kept_)) {
        texts.kept_.reset();
        Version version;
        texts.read_ = Read(order, version);
        Keep(key, version, texts.read_);
    }
    return texts;
}

std::size_t SongTexts::Next(std::string_view text, std::size_t first) const {
    return kept_ ? kept_->Find(text, first) : first;
}

SongText SongTexts::operator[](std::size_t place) const {
    const std::string_view record = kept_ ? (*kept_)[place] : std::string_view(read_[place]);
    if (record.size() < sizeof(Head)) {
        return {};
    }
    Head head;
    std::memcpy(&head, record.data(), sizeof head);
    const std::string_view texts = record.substr(sizeof head);
    const std::size_t end = texts.find('\0');
    return {head.track, head.owner, head.kind, texts.substr(0, end),
            end == texts.npos ? texts : texts.substr(end + 1)};
}

}  // namespace tonvale_service
