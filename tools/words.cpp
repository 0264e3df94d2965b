#include "words.h"

#include <fmt/format.h>

#include <array>

namespace zelk::tool {

namespace {

// EN 300 468, table 28: the first level, then the second by its number. An empty word is reserved.
struct GenreWords {
    const char *word;
    std::array<const char *, 16> narrower;
};

constexpr std::array<GenreWords, 16> dvbGenres{{
    {"undefined", {}},
    {"movie/drama",
     {"", "detective/thriller", "adventure/western/war", "science fiction/fantasy/horror", "comedy",
      "soap/melodrama/folkloric", "romance", "serious/classical/religious/historical", "adult"}},
    {"news/current affairs",
     {"", "news/weather report", "news magazine", "documentary", "discussion/interview/debate"}},
    {"show/game show", {"", "game show/quiz/contest", "variety show", "talk show"}},
    {"sports",
     {"", "special events", "sports magazines", "football/soccer", "tennis/squash", "team sports", "athletics",
      "motor sport", "water sport", "winter sports", "equestrian", "martial sports"}},
    {"children's/youth programmes",
     {"", "pre-school", "entertainment for 6 to 14", "entertainment for 10 to 16", "informational/educational/school",
      "cartoons/puppets"}},
    {"music/ballet/dance",
     {"", "rock/pop", "serious/classical", "folk/traditional", "jazz", "musical/opera", "ballet"}},
    {"arts/culture",
     {"", "performing arts", "fine arts", "religion", "popular culture/traditional arts", "literature", "film/cinema",
      "experimental film/video", "broadcasting/press", "new media", "arts/culture magazines", "fashion"}},
    {"social/political/economics",
     {"", "magazines/reports/documentary", "economics/social advisory", "remarkable people"}},
    {"education/science/factual",
     {"", "nature/animals/environment", "technology/natural sciences", "medicine/physiology/psychology",
      "foreign countries/expeditions", "social/spiritual sciences", "further education", "languages"}},
    {"leisure hobbies",
     {"", "tourism/travel", "handicraft", "motoring", "fitness and health", "cooking", "advertisement/shopping",
      "gardening"}},
    {"special characteristics",
     {"original language", "black and white", "unpublished", "live broadcast", "plano-stereoscopic",
      "local or regional"}},
    {"adult", {}},
    {"", {}},
    {"", {}},
    {"user defined", {}},
}};

// A/65, table 6.20, from 0x20 on.
constexpr const char *atscGenres[] = {
    "Education",  "Entertainment", "Movie",       "News",         "Religious",     "Sports",    "Other",
    "Action",     "Advertisement", "Animated",    "Anthology",    "Automobile",    "Awards",    "Baseball",
    "Basketball", "Bulletin",      "Business",    "Classical",    "College",       "Combat",    "Comedy",
    "Commentary", "Concert",       "Consumer",    "Contemporary", "Crime",         "Dance",     "Documentary",
    "Drama",      "Elementary",    "Erotica",     "Exercise",     "Fantasy",       "Farm",      "Fashion",
    "Fiction",    "Food",          "Football",    "Foreign",      "Fund Raiser",   "Game/Quiz", "Garden",
    "Golf",       "Government",    "Health",      "High School",  "History",       "Hobby",     "Hockey",
    "Home",       "Horror",        "Information", "Instruction",  "International", "Interview", "Language",
    "Legal",      "Live",          "Local",       "Math",         "Medical",       "Meeting",   "Military",
    "Miniseries", "Music",         "Mystery",     "National",     "Nature",        "Police",    "Politics",
    "Premiere",   "Prerecorded",   "Product",     "Professional", "Public",        "Racing",    "Reading",
    "Repair",     "Repeat",        "Review",      "Romance",      "Science",       "Series",    "Service",
    "Shopping",   "Soap Opera",    "Special",     "Suspense",     "Talk",          "Technical", "Tennis",
    "Travel",     "Variety",       "Video",       "Weather",      "Western",
};
constexpr std::size_t firstAtscGenre = 0x20;

const char *streamContentName(const Component &component) {
    switch (component.content) {
    case 1:
        return "MPEG-2 video";
    case 2:
        return "MPEG-1 layer 2 audio";
    case 3:
        return component.type < 0x10 ? "teletext or data" : component.type < 0x30 ? "subtitles" : "sign language";
    case 4:
        return "AC-3 audio";
    case 5:
        return "H.264 video";
    case 6:
        return "HE-AAC audio";
    case 7:
        return "DTS audio";
    case 9:
        return component.extension == 0 ? "HEVC video" : "next generation audio or video";
    case 0xB:
        return "component information";
    default:
        return "";
    }
}

// ISO 639-2: where the codes for terminology and bibliography differ, in this order.
constexpr const char *languagesOfTwoCodes[][2] = {
    {"bod", "tib"}, {"ces", "cze"}, {"cym", "wel"}, {"deu", "ger"}, {"ell", "gre"}, {"eus", "baq"}, {"fas", "per"},
    {"fra", "fre"}, {"hye", "arm"}, {"isl", "ice"}, {"kat", "geo"}, {"mkd", "mac"}, {"mri", "mao"}, {"msa", "may"},
    {"mya", "bur"}, {"nld", "dut"}, {"ron", "rum"}, {"slk", "slo"}, {"sqi", "alb"}, {"zho", "chi"}};

} // namespace

std::string genreName(System system, const Genre &genre) {
    const char *name = "";
    if (system == System::Atsc) {
        const std::size_t index = genre.code - firstAtscGenre;
        name = index < std::size(atscGenres) ? atscGenres[index] : "";
    } else {
        const GenreWords &words = dvbGenres.at(genre.code >> 4U);
        const char *const narrower = words.narrower.at(genre.code & 0x0FU);
        if (narrower != nullptr && *narrower != 0) {
            return fmt::format("{}: {}", words.word, narrower);
        }
        name = words.word;
    }
    return *name != 0 ? name : fmt::format("0x{:02x}", genre.code);
}

std::string runningStatusName(std::uint8_t status) {
    constexpr const char *names[] = {"undefined", "not running", "starts soon", "pausing", "running", "off air"};
    return status < std::size(names) ? names[status] : "reserved";
}

std::string componentName(const Component &component) {
    const char *const name = streamContentName(component);
    return *name != 0 ? name : fmt::format("stream content {:x}", component.content);
}

std::string otherLanguageCode(const std::string &code) {
    for (const auto &[terminology, bibliographic] : languagesOfTwoCodes) {
        if (code == terminology) {
            return bibliographic;
        }
        if (code == bibliographic) {
            return terminology;
        }
    }
    return {};
}

} // namespace zelk::tool
