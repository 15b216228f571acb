// What the actions of entry.cgi have in common, and how they are found.
#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <type_traits>
#include <utility>

#include "description.h"
#include "request.h"
#include "service/base/page.h"
#include "tonvale/action.h"

namespace tonvale_entry {

// An action that answers with data, or with the code of its refusal.
class DataAction : public ActionHandler {
  public:
    // Gives the "data" of the answer. Throws a Refusal or a Failure.
    using Data = Json::Value (*)(const Request &asked);

    DataAction(const Request &request, Data data) : request_(request), data_(data) {}

    // Answers; true when the answer could be written.
    bool Process() override;

  private:
    const Request &request_;
    Data data_;
};

// An action whose data is a list, written as it is read.
class ListAction : public ActionHandler {
  public:
    // Throws a Refusal or a Failure.
    using Open = std::unique_ptr<tonvale_service::Page> (*)(const Request &asked);

    ListAction(const Request &request, Open open) : request_(request), open_(open) {}

    // Answers; true when all of the answer could be written.
    bool Process() override;

  private:
    const Request &request_;
    Open open_;
};

// An action that writes an HTTP answer of its own; a refusal has an HTTP status.
class MediaAction : public ActionHandler {
  public:
    explicit MediaAction(const Request &request) : request_(request) {}
    bool Process() override;

  protected:
    // Throws a Refusal as long as nothing has been written. True when all of the answer went out.
    virtual bool Send() = 0;

    const Request &Asked() const { return request_; }

  private:
    const Request &request_;
};

// The type of an answer with data, without the end of its line.
inline constexpr char kJsonType[] = "Content-Type: application/json; charset=utf-8";

// The status line of a refusal, and the fields that belong to it.
const char *StatusOf(Code code);

// The answer to a request that no action was found for.
class RefusedAction : public ActionHandler {
  public:
    // `isMedia`: what was asked for is a media answer, so that its refusal has an HTTP status.
    explicit RefusedAction(Refusal refusal, bool isMedia = false)
        : refusal_(std::move(refusal)), isMedia_(isMedia) {}
    bool Process() override;

  private:
    Refusal refusal_;
    bool isMedia_;
};

// A method of an API. So far all have version 1.
struct Method {
    std::string_view name;
    std::unique_ptr<ActionHandler> (*make)(const Request &request);
    bool changes = false;        // refused for HEAD, and for pages of other sites
    bool asksElsewhere = false;  // makes this machine ask others: refused for pages of other sites
    bool isMedia = false;        // answers with an HTTP answer of its own
    bool lasts = false;          // takes as long as its client wants: never in a worker
    bool takesRoot = true;       // for moments; false: gives root's rights up before it begins
    bool needsLogin = true;      // except in a public API
    bool takesKey = true;        // false: it changes passwords, keys or users, which no key may
    std::string_view summary = {};  // what it does
    std::span<const Parameter> parameters = {};
    // The schema of its data, {} without one; or the media types of its answer, separated by
    // blanks.
    std::string_view answer = {};
};

// For a table of methods: the method changes something.
inline constexpr bool kChanges = true;

template <typename Made>
std::unique_ptr<ActionHandler> Make(const Request &request) {
    return std::make_unique<Made>(request);
}

// The action of a function that gives data or opens a list.
template <auto Answer>
std::unique_ptr<ActionHandler> Make(const Request &request) {
    using Action = std::conditional_t<std::is_convertible_v<decltype(Answer), DataAction::Data>,
                                      DataAction, ListAction>;
    return std::make_unique<Action>(request, Answer);
}

// An API: one file, with the table of its methods.
struct Api {
    std::string_view name;
    std::span<const Method> methods;
    bool isPublic = false;  // answers without a login
    std::string_view summary = {};
    std::span<const Schema> schemas = {};  // of its answers; other APIs may use them
};

// All of them, in order.
std::span<const Api *const> AllApis();

// A sentence for each code, in order; its HTTP status is that of StatusOf.
struct Meaning {
    Code code;
    const char *sentence;
};
std::span<const Meaning> AllCodes();

// The action of a request; a RefusedAction when there is none, or the user may not call it. Signs
// the user in where the method needs that (Request::SignIn).
std::unique_ptr<ActionHandler> FindAction(Request &request);

// The answer to a request that cannot be read, with this query.
RefusedAction RefuseUnread(std::string_view query, const Refusal &refusal);

extern const Api kAlbumApi;
extern const Api kArtistApi;
extern const Api kAuthApi;
extern const Api kBookmarkApi;
extern const Api kComposerApi;
extern const Api kCoverApi;
extern const Api kDescriptionApi;
extern const Api kDownloadApi;
extern const Api kEventsApi;
extern const Api kFavouriteApi;
extern const Api kFolderApi;
extern const Api kGenreApi;
extern const Api kIndexApi;
extern const Api kInfoApi;
extern const Api kMediaServerApi;
extern const Api kPinApi;
extern const Api kPlayApi;
extern const Api kPlayerApi;
extern const Api kPlaylistApi;
extern const Api kQueueApi;
extern const Api kRadioApi;
extern const Api kSearchApi;
extern const Api kSettingApi;
extern const Api kSharingApi;
extern const Api kSharingPageApi;
extern const Api kSongApi;
extern const Api kStreamApi;
extern const Api kUserApi;

}  // namespace tonvale_entry
