#include "core/hierarchy/automaton.h"

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <utility>

namespace kavel::hierarchy {
namespace {

using runtime::AsciiSet;
using runtime::RegexNode;
using Kind = RegexNode::Kind;

/// Beyond these the interpreter is asked instead.
constexpr std::size_t kMaxNodes = 4000;
constexpr std::size_t kMaxStates = 512;
/// Places in a name that fit into one word.
constexpr std::size_t kMaxPlaces = 64;

bool is_foreign(char character) noexcept {
  return static_cast<unsigned char>(character) >= 128 || character == '\n';
}

/// Whether the interpreter decides: a repeat of what may be empty ends by rules of its own.
bool can_be_empty(const RegexNode& node) {
  switch (node.kind) {
    case Kind::sequence:
      return std::ranges::all_of(node.children, can_be_empty);
    case Kind::branch:
      return std::ranges::any_of(node.children, can_be_empty);
    case Kind::repeat:
      return node.minimum == 0 || can_be_empty(node.children.front());
    case Kind::character:
      return false;
    default:
      return true;
  }
}

bool has_reference(const RegexNode& node) {
  return node.kind == Kind::reference || std::ranges::any_of(node.children, has_reference);
}

/// The nondeterministic automaton of a segment. Node 0 accepts.
class Nodes {
 public:
  enum class Step : std::uint8_t { accept, character, split, start, end };
  struct Node {
    Step step;
    std::uint16_t next;
    std::uint16_t other = 0;
    std::uint16_t set = 0;
  };

  Nodes() : nodes{{Step::accept, 0}} {}

  /// Adds `node` in front of the node `next`; the node where it begins. Nothing when it is outside
  /// of the subset or too large.
  [[nodiscard]] std::optional<std::uint16_t> add(const RegexNode& node, std::uint16_t next) {
    switch (node.kind) {
      case Kind::sequence:
        return add_sequence(node, next);
      case Kind::branch:
        return add_branch(node, next);
      case Kind::repeat:
        return add_repeat(node, next);
      case Kind::character:
        sets.push_back(node.set);
        return push({Step::character, next, 0, static_cast<std::uint16_t>(sets.size() - 1)});
      case Kind::start:
        return push({Step::start, next});
      case Kind::end:
        return push({Step::end, next});
      default:
        return std::nullopt;
    }
  }

  std::vector<Node> nodes;
  std::vector<AsciiSet> sets;

 private:
  std::optional<std::uint16_t> push(Node node) {
    if (nodes.size() >= kMaxNodes) return std::nullopt;
    nodes.push_back(node);
    return static_cast<std::uint16_t>(nodes.size() - 1);
  }

  std::optional<std::uint16_t> add_sequence(const RegexNode& node, std::uint16_t next) {
    std::optional<std::uint16_t> begin = next;
    for (std::size_t child = node.children.size(); begin && child-- > 0;) {
      begin = add(node.children[child], *begin);
    }
    return begin;
  }

  std::optional<std::uint16_t> add_branch(const RegexNode& node, std::uint16_t next) {
    std::optional<std::uint16_t> begin;
    for (const RegexNode& child : node.children) {
      const auto alternative = add(child, next);
      if (!alternative) return std::nullopt;
      begin = begin ? push({Step::split, *alternative, *begin}) : alternative;
      if (!begin) return std::nullopt;
    }
    return begin;
  }

  std::optional<std::uint16_t> add_repeat(const RegexNode& node, std::uint16_t next) {
    const RegexNode& body = node.children.front();
    if (node.maximum > 1 && can_be_empty(body)) return std::nullopt;
    std::optional<std::uint16_t> begin = next;
    std::uint32_t copies = node.minimum;
    if (node.maximum == RegexNode::kUnbounded) {
      begin = push({Step::split, 0, next});
      const auto loop = begin ? add(body, *begin) : std::nullopt;
      if (!loop) return std::nullopt;
      nodes[*begin].next = *loop;
    } else {
      for (std::uint32_t more = node.minimum; begin && more < node.maximum; ++more) {
        const auto once = add(body, *begin);
        begin = once ? push({Step::split, *once, next}) : std::nullopt;
      }
    }
    for (; begin && copies > 0; --copies) begin = add(body, *begin);
    return begin;
  }
};

}  // namespace

/// A part of an expression without references, made deterministic on demand.
class NameAutomaton::Segment {
 public:
  static constexpr std::int32_t kDead = 0;
  /// There are more states than this automaton may have.
  static constexpr std::int32_t kLost = -1;

  /// Null when it is outside of the subset or too large.
  static std::unique_ptr<Segment> make(const std::vector<const RegexNode*>& items) {
    auto segment = std::make_unique<Segment>();
    std::uint16_t begin = 0;
    for (std::size_t item = items.size(); item-- > 0;) {
      const auto added = segment->nodes_.add(*items[item], begin);
      if (!added) return nullptr;
      begin = *added;
    }
    segment->begin_ = begin;
    segment->find_classes();
    (void)segment->state({}, false);  // the dead one
    return segment;
  }

  /// The state before the character at a place.
  std::int32_t begin(bool at_start) {
    std::int32_t& known = first_[at_start ? 1 : 0];
    if (known == kUnknown) known = state(closure({begin_}, at_start, false), at_start);
    return known;
  }
  [[nodiscard]] bool accepts(std::int32_t state) const { return (accepting_[at(state)] & 1) != 0; }
  [[nodiscard]] bool accepts_at_end(std::int32_t state) const {
    return (accepting_[at(state)] & 2) != 0;
  }
  std::int32_t next(std::int32_t state, char character) {
    const std::size_t entry = at(state) * class_count_ + class_of_[at(character)];
    if (table_[entry] == kUnknown) {
      const std::int32_t made = step(state, character);
      table_[entry] = made;
    }
    return table_[entry];
  }

 private:
  static constexpr std::int32_t kUnknown = -2;
  using Set = std::vector<std::uint16_t>;

  static std::size_t at(std::int32_t state) { return static_cast<std::size_t>(state); }
  static std::size_t at(char character) { return static_cast<unsigned char>(character); }

  /// Characters that no set tells apart share a column of the table.
  void find_classes() {
    std::map<std::vector<bool>, std::uint8_t> classes;
    for (std::size_t character = 0; character < class_of_.size(); ++character) {
      std::vector<bool> members;
      for (const AsciiSet& set : nodes_.sets) members.push_back(set[character]);
      const auto number = static_cast<std::uint8_t>(classes.size());
      class_of_[character] = classes.emplace(std::move(members), number).first->second;
    }
    class_count_ = classes.size();
  }

  /// The nodes that are reached without a character, those that wait for something only.
  Set closure(Set pending, bool at_start, bool at_end) const {
    std::vector<bool> met(nodes_.nodes.size());
    Set reached;
    while (!pending.empty()) {
      const std::uint16_t index = pending.back();
      pending.pop_back();
      if (met[index]) continue;
      met[index] = true;
      const Nodes::Node& node = nodes_.nodes[index];
      switch (node.step) {
        case Nodes::Step::split:
          pending.push_back(node.next);
          pending.push_back(node.other);
          break;
        case Nodes::Step::start:
          if (at_start) pending.push_back(node.next);
          break;
        case Nodes::Step::end:
          if (at_end) pending.push_back(node.next);
          reached.push_back(index);
          break;
        default:
          reached.push_back(index);
      }
    }
    std::ranges::sort(reached);
    return reached;
  }

  std::int32_t state(Set nodes, bool at_start) {
    const auto key = std::pair(at_start, nodes);
    if (const auto known = numbers_.find(key); known != numbers_.end()) return known->second;
    if (states_.size() >= kMaxStates) return kLost;
    const auto accepts = [](const Set& set) { return !set.empty() && set.front() == 0; };
    const bool at_end = accepts(closure(nodes, at_start, true));
    accepting_.push_back(static_cast<std::uint8_t>((accepts(nodes) ? 1 : 0) | (at_end ? 2 : 0)));
    states_.push_back(std::move(nodes));
    table_.resize(states_.size() * class_count_, kUnknown);
    return numbers_.emplace(key, static_cast<std::int32_t>(states_.size() - 1)).first->second;
  }

  std::int32_t step(std::int32_t from, char character) {
    Set following;
    for (const std::uint16_t index : states_[at(from)]) {
      const Nodes::Node& node = nodes_.nodes[index];
      if (node.step == Nodes::Step::character && nodes_.sets[node.set][at(character)]) {
        following.push_back(node.next);
      }
    }
    return state(closure(std::move(following), false, false), false);
  }

  Nodes nodes_;
  std::uint16_t begin_ = 0;
  std::array<std::uint8_t, 128> class_of_{};
  std::size_t class_count_ = 0;
  /// The nodes of each state.
  std::vector<Set> states_;
  /// For each state whether a match may end there, and whether it may at the end of the name.
  std::vector<std::uint8_t> accepting_;
  std::vector<std::int32_t> table_;
  std::map<std::pair<bool, Set>, std::int32_t> numbers_;
  std::array<std::int32_t, 2> first_{kUnknown, kUnknown};
};

NameAutomaton::NameAutomaton(std::size_t texts) : text_count_(texts) {}

NameAutomaton::~NameAutomaton() = default;

std::shared_ptr<NameAutomaton> NameAutomaton::make(const RegexNode& tree, std::size_t texts) {
  std::shared_ptr<NameAutomaton> automaton(new NameAutomaton(texts));
  std::vector<const RegexNode*> open;
  if (!automaton->cut(tree, open) || !automaton->close(open)) return nullptr;
  return automaton;
}

/// Appends `node` to the open segment, which ends at each reference.
bool NameAutomaton::cut(const RegexNode& node, std::vector<const RegexNode*>& open) {
  if (node.kind == Kind::sequence) {
    return std::ranges::all_of(node.children,
                               [&](const RegexNode& child) { return cut(child, open); });
  }
  if (node.kind == Kind::reference) {
    if (node.group > text_count_) return false;
    if (!open.empty() && !close(open)) return false;
    pieces_.push_back({nullptr, node.group - 1});
    return true;
  }
  if (has_reference(node)) return false;
  open.push_back(&node);
  return true;
}

bool NameAutomaton::close(std::vector<const RegexNode*>& open) {
  auto segment = Segment::make(open);
  if (!segment) return false;
  pieces_.push_back({std::move(segment)});
  open.clear();
  return true;
}

std::optional<bool> NameAutomaton::match(std::string_view name, Texts texts) {
  if (pieces_.size() > 1) {
    const auto found = ends(name, texts, 0);
    return found ? std::optional(*found != 0) : std::nullopt;
  }
  Segment& segment = *pieces_.front().segment;
  std::int32_t state = segment.begin(true);
  for (const char character : name) {
    if (state == Segment::kLost) return std::nullopt;
    if (segment.accepts(state)) return true;
    if (state == Segment::kDead) return false;
    if (is_foreign(character)) return std::nullopt;
    state = segment.next(state, character);
  }
  if (state == Segment::kLost) return std::nullopt;
  return segment.accepts(state) || segment.accepts_at_end(state);
}

std::optional<NameAutomaton::Places> NameAutomaton::ends(std::string_view name, Texts texts,
                                                         std::size_t begin) {
  if (name.size() >= kMaxPlaces) return std::nullopt;
  Places places = Places{1} << begin;
  for (const Piece& piece : pieces_) {
    Places reached = 0;
    for (; places != 0; places &= places - 1) {
      auto place = static_cast<std::size_t>(std::countr_zero(places));
      if (!piece.segment) {
        const std::string_view text = texts[piece.text];
        if (name.substr(place).starts_with(text)) reached |= Places{1} << (place + text.size());
        continue;
      }
      std::int32_t state = piece.segment->begin(place == 0);
      for (;; ++place) {
        if (state == Segment::kLost) return std::nullopt;
        const bool at_end = place == name.size();
        if (piece.segment->accepts(state) || (at_end && piece.segment->accepts_at_end(state))) {
          reached |= Places{1} << place;
        }
        if (at_end || state == Segment::kDead) break;
        if (is_foreign(name[place])) return std::nullopt;
        state = piece.segment->next(state, name[place]);
      }
    }
    places = reached;
  }
  return places;
}

std::optional<std::string> NameAutomaton::remove_start(std::string_view name, Texts texts) {
  const auto found = ends(name, texts, 0);
  // Which of several ends a match takes is for the interpreter to say.
  if (!found || std::popcount(*found) > 1) return std::nullopt;
  if (*found == 0) return std::string(name);
  return std::string(name.substr(static_cast<std::size_t>(std::countr_zero(*found))));
}

std::optional<std::string> NameAutomaton::remove_first(std::string_view name, Texts texts) {
  for (std::size_t begin = 0; begin <= name.size(); ++begin) {
    const auto found = ends(name, texts, begin);
    if (!found || std::popcount(*found) > 1) return std::nullopt;
    if (*found == 0) continue;
    std::string rest(name.substr(0, begin));
    return rest.append(name.substr(static_cast<std::size_t>(std::countr_zero(*found))));
  }
  return std::string(name);
}

}  // namespace kavel::hierarchy
