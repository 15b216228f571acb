// What a media server's answer costs beyond what libxml2 itself takes, and that nothing in it grows
// faster than the answer.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>

#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>

#include "dlna/entities.h"
#include "tonvale/dlna.h"

namespace {

// Processor time, so that what else runs on the machine counts for less.
double Now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// An answer as it comes from the network, with tracks as a common server describes them.
std::string EscapedAnswer(int items) {
    std::string text =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\r\n<s:Envelope "
        "xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\"><s:Body><u:BrowseResponse "
        "xmlns:u=\"urn:schemas-upnp-org:service:ContentDirectory:1\"><Result>&lt;DIDL-Lite "
        "xmlns:dc=&quot;http://purl.org/dc/elements/1.1/&quot; "
        "xmlns:upnp=&quot;urn:schemas-upnp-org:metadata-1-0/upnp/&quot; "
        "xmlns=&quot;urn:schemas-upnp-org:metadata-1-0/DIDL-Lite/&quot;&gt;";
    for (int i = 0; i < items; ++i) {
        const std::string number = std::to_string(i);
        text +=
            "&lt;item id=&quot;1$4$" + number +
            "&quot; parentID=&quot;1$4&quot; restricted=&quot;1&quot;&gt;&lt;dc:title&gt;A tone "
            "of many " +
            number +
            "&lt;/dc:title&gt;&lt;upnp:class&gt;object.item.audioItem.musicTrack"
            "&lt;/upnp:class&gt;&lt;dc:creator&gt;O'Brien &amp;amp; Sons&lt;/dc:creator&gt;"
            "&lt;dc:date&gt;2003-01-01&lt;/dc:date&gt;&lt;upnp:artist&gt;O'Brien &amp;amp; Sons"
            "&lt;/upnp:artist&gt;&lt;upnp:album&gt;An Album of Tones&lt;/upnp:album&gt;"
            "&lt;upnp:genre&gt;Jazz&lt;/upnp:genre&gt;&lt;upnp:originalTrackNumber&gt;7"
            "&lt;/upnp:originalTrackNumber&gt;&lt;res size=&quot;4823901&quot; "
            "duration=&quot;0:03:21.057&quot; bitrate=&quot;24000&quot; "
            "sampleFrequency=&quot;44100&quot; nrAudioChannels=&quot;2&quot; "
            "protocolInfo=&quot;http-get:*:audio/mpeg:DLNA.ORG_PN=MP3;DLNA.ORG_OP=01;"
            "DLNA.ORG_CI=0;DLNA.ORG_FLAGS=01700000000000000000000000000000&quot;&gt;"
            "http://192.0.2.1:8200/MediaItems/" +
            number + ".mp3&lt;/res&gt;&lt;/item&gt;";
    }
    return text +
           "&lt;/DIDL-Lite&gt;</Result>\n<NumberReturned>1</NumberReturned>\n"
           "<TotalMatches>1</TotalMatches></u:BrowseResponse></s:Body></s:Envelope>";
}

std::string Decoded(std::string text) {
    Tonvale::dlna::DecodeEntities(text);
    return text;
}

// Decoding and parsing against libxml2's reading and freeing of the decoded document, in turn.
void Answer(benchmark::State &state) {
    const std::string escaped = EscapedAnswer(static_cast<int>(state.range(0)));
    const std::string decoded = Decoded(escaped);
    double baseline = 0;
    double measured = 0;
    double freeing = 0;
    for (auto _ : state) {
        double start = Now();
        xmlDoc *document = xmlReadMemory(decoded.data(), static_cast<int>(decoded.size()),
                                         "noname.xml", nullptr, 0);
        if (document == nullptr) {
            std::abort();
        }
        xmlFreeDoc(document);
        baseline += Now() - start;

        std::string text = escaped;
        auto parser = std::make_unique<DMAParser>();
        start = Now();
        Tonvale::dlna::DecodeEntities(text);
        if (parser->Parse(text.data(), static_cast<int>(text.size())) != 0 ||
            parser->items.nodes().size() != static_cast<std::size_t>(state.range(0))) {
            std::abort();
        }
        const double seconds = Now() - start;
        measured += seconds;
        state.SetIterationTime(seconds);

        start = Now();
        parser.reset();
        freeing += Now() - start;
    }
    state.counters["with_freeing"] = (measured + freeing) / baseline;
    state.counters["ratio"] = measured / baseline;
}

// Decoding of a text of so many MiB; what a byte costs against a byte of a MiB.
void Decode(benchmark::State &state) {
    constexpr std::size_t kMebibyte = 1 << 20;
    std::string escaped = EscapedAnswer(1000);
    while (escaped.size() < static_cast<std::size_t>(state.range(0)) * kMebibyte) {
        escaped.append(escaped, 0,
                       static_cast<std::size_t>(state.range(0)) * kMebibyte - escaped.size());
    }
    const std::string small(escaped, 0, kMebibyte);
    double baseline = 0;
    double measured = 0;
    for (auto _ : state) {
        for (int64_t i = 0; i < state.range(0); ++i) {
            std::string text = small;
            const double start = Now();
            Tonvale::dlna::DecodeEntities(text);
            baseline += Now() - start;
        }
        std::string text = escaped;
        const double start = Now();
        Tonvale::dlna::DecodeEntities(text);
        const double seconds = Now() - start;
        measured += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["ratio"] = measured / baseline;
    state.counters["MB/s"] = benchmark::Counter(static_cast<double>(escaped.size()) / 1e6,
                                                benchmark::Counter::kIsIterationInvariantRate);
}

// A look-up that fails, through so many resources; what one costs against one of a thousand.
void LookUp(benchmark::State &state) {
    constexpr int64_t kSmall = 1000;
    static const std::vector<ItemValues::Entry> kValues = {
        {"protocolInfo", ""}, {"res", "http://192.0.2.1/"}, {"size", "1"}};
    const auto nodeOf = [](int64_t children) {
        auto node = std::make_unique<ItemNode>();
        node->iniChildList();
        for (int64_t i = 0; i < children; ++i) {
            node->children->nodes().push_back(std::make_unique<ItemNode>());
            node->children->nodes().back()->values = ItemValues(kValues);
        }
        return node;
    };
    const auto small = nodeOf(kSmall);
    const auto large = nodeOf(state.range(0));
    double baseline = 0;
    double measured = 0;
    for (auto _ : state) {
        double start = Now();
        for (int64_t i = 0; i < state.range(0); i += kSmall) {
            benchmark::DoNotOptimize(small->getValueByKey("protocolInfo"));
        }
        baseline += Now() - start;
        start = Now();
        benchmark::DoNotOptimize(large->getValueByKey("protocolInfo"));
        const double seconds = Now() - start;
        measured += seconds;
        state.SetIterationTime(seconds);
    }
    state.counters["ratio"] = measured / baseline;
}

BENCHMARK(Answer)->Arg(100)->Arg(5000)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(Decode)->Arg(10)->Arg(100)->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK(LookUp)->Arg(10000)->Arg(100000)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
