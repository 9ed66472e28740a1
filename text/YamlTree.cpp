#include "text/YamlTree.h"

#include <yaml.h>

#include <algorithm>
#include <new>
#include <unordered_set>
#include <utility>

#include "platform/Base64.h"
#include "platform/Utf8.h"
#include "text/Nearest.h"

namespace norvane::text {

namespace {

constexpr std::size_t MaxDepth = 6;  // a monitor's settings are at 4
constexpr std::size_t MaxNodes = 8 << 20;
constexpr std::size_t FewKeys = 16;  // compared with each other faster than by a set

using Kind = YamlNode::Kind;

struct Event {
  ~Event() { yaml_event_delete(&event); }
  yaml_event_t event{};
};

std::string_view ViewOf(const yaml_char_t* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

class Reader {
 public:
  Reader(std::string_view text, std::uint16_t file, Mistakes& mistakes)
      : m_text(text), m_file(file), m_mistakes(mistakes) {
    if (yaml_parser_initialize(&m_parser) == 0) throw std::bad_alloc();
    yaml_parser_set_encoding(&m_parser, YAML_UTF8_ENCODING);
    yaml_parser_set_input_string(&m_parser, reinterpret_cast<const unsigned char*>(text.data()), text.size());
  }
  ~Reader() { yaml_parser_delete(&m_parser); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  std::optional<YamlNode> Read() {
    while (Step()) {
    }
    return m_hasFailed ? std::nullopt : std::move(m_root);
  }

 private:
  /// False at the end.
  bool Step() {
    Event next;
    const auto& event = next.event;
    if (yaml_parser_parse(&m_parser, &next.event) == 0) return FailToParse();
    const auto place = PlaceOf(event.start_mark);
    switch (event.type) {
      case YAML_DOCUMENT_START_EVENT:
        return !std::exchange(m_hasDocument, true) || Fail(place, "more than one document in the file");
      case YAML_ALIAS_EVENT:
        return Fail(place, "aliases are not supported; use a template");
      case YAML_SCALAR_EVENT:
        return ReadScalar(event, place);
      case YAML_SEQUENCE_START_EVENT: {
        const auto& start = event.data.sequence_start;
        return Open(Kind::List, start.anchor, start.implicit != 0 ? nullptr : start.tag, place);
      }
      case YAML_MAPPING_START_EVENT: {
        const auto& start = event.data.mapping_start;
        return Open(Kind::Map, start.anchor, start.implicit != 0 ? nullptr : start.tag, place);
      }
      case YAML_SEQUENCE_END_EVENT:
      case YAML_MAPPING_END_EVENT:
        return Close();
      case YAML_STREAM_END_EVENT:
        return false;
      default:
        return true;
    }
  }

  Place PlaceOf(const yaml_mark_t& mark) const {
    return {m_file, static_cast<std::uint32_t>(mark.line + 1), static_cast<std::uint32_t>(mark.column + 1)};
  }

  bool Fail(const Place& place, std::string text) {
    m_mistakes.Add(place, std::move(text));
    m_hasFailed = true;
    return false;
  }

  bool FailToParse() {
    if (m_parser.error == YAML_MEMORY_ERROR) throw std::bad_alloc();
    const std::string problem = m_parser.problem == nullptr ? "not YAML" : m_parser.problem;
    if (m_parser.error != YAML_READER_ERROR) return Fail(PlaceOf(m_parser.problem_mark), problem);
    const auto before = m_text.substr(0, m_parser.problem_offset);
    const auto line = std::ranges::count(before, '\n') + 1;
    const auto inLine = before.substr(before.rfind('\n') + 1);
    return Fail({m_file, static_cast<std::uint32_t>(line),
                 static_cast<std::uint32_t>(platform::CountCharacters(inLine) + 1)},
                problem);
  }

  bool Open(Kind kind, const yaml_char_t* anchor, const yaml_char_t* tag, const Place& place) {
    if (anchor != nullptr) return Fail(place, "anchors are not supported; use a template");
    if (tag != nullptr) return Fail(place, "unknown tag " + Quoted(ViewOf(tag)));
    if (m_open.size() >= MaxDepth) return Fail(place, "nested too deep");
    if (kind == Kind::Map || kind == Kind::List) {
      const bool isKey =
          !m_open.empty() && m_open.back().kind == Kind::Map && m_open.back().children.size() % 2 == 0;
      if (isKey) return Fail(place, "a key must be a text");
    }
    m_open.push_back({kind, false, place, {}, {}});
    return CountNode(place);
  }

  bool Close() {
    auto node = std::move(m_open.back());
    m_open.pop_back();
    if (node.kind == Kind::Map) RequireKeysOnce(node);
    Put(std::move(node));
    return true;
  }

  bool ReadScalar(const yaml_event_t& event, const Place& place) {
    const auto& scalar = event.data.scalar;
    if (scalar.anchor != nullptr) return Fail(place, "anchors are not supported; use a template");
    YamlNode node{
        Kind::Scalar, false, place, {reinterpret_cast<const char*>(scalar.value), scalar.length}, {}};
    const bool isPlain = scalar.style == YAML_PLAIN_SCALAR_STYLE;
    if (isPlain && scalar.plain_implicit != 0 && (node.text == "~" || node.text == "null")) node.text.clear();
    const auto tag = ViewOf(scalar.tag);
    if (tag == "!raw") {
      node.asIs = true;
    } else if (tag == YAML_BINARY_TAG) {
      auto bytes = platform::DecodeBase64(node.text);
      if (!bytes) return Fail(place, "not base64, in one line and with its padding");
      node.text = std::move(*bytes);
      node.asIs = true;
    } else if (!tag.empty() && tag != YAML_STR_TAG && tag != "!") {
      return Fail(place, "unknown tag " + Quoted(tag) + "; known are !raw and !!binary");
    }
    Put(std::move(node));
    return CountNode(place);
  }

  static constexpr std::string_view YAML_BINARY_TAG = "tag:yaml.org,2002:binary";

  bool CountNode(const Place& place) { return ++m_nodes <= MaxNodes || Fail(place, "too much in one file"); }

  void Put(YamlNode node) {
    if (m_open.empty())
      m_root = std::move(node);
    else
      m_open.back().children.push_back(std::move(node));
  }

  void RequireKeysOnce(const YamlNode& map) {
    const auto& children = map.children;
    std::unordered_set<std::string_view> seen;
    if (children.size() > 2 * FewKeys) seen.reserve(children.size() / 2);
    for (std::size_t i = 0; i < children.size(); i += 2) {
      bool isNew = true;
      if (children.size() > 2 * FewKeys) {
        isNew = children[i].asIs || seen.insert(children[i].text).second;
      } else {
        for (std::size_t j = 0; j < i; j += 2)
          isNew = isNew && (children[j].text != children[i].text || children[j].asIs != children[i].asIs);
      }
      if (!isNew) m_mistakes.Add(children[i].place, Quoted(children[i].text) + " stands here twice");
    }
  }

  std::string_view m_text;
  std::uint16_t m_file;
  Mistakes& m_mistakes;
  yaml_parser_t m_parser{};
  std::optional<YamlNode> m_root;
  std::vector<YamlNode> m_open;
  std::size_t m_nodes = 0;
  bool m_hasDocument = false;
  bool m_hasFailed = false;
};

}  // namespace

std::optional<YamlNode> ReadYaml(std::string_view text, std::uint16_t file, Mistakes& mistakes) {
  return Reader(text, file, mistakes).Read();
}

}  // namespace norvane::text
