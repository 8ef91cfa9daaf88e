// Name expressions as automata: verdicts without asking the interpreter.
//
// An expression of plain nodes is cut at its references to captured texts into segments; each
// segment is a nondeterministic automaton that is made deterministic state by state, as names ask
// for them (a table of states and classes of characters). So nothing blows up in advance, and
// nested repeats cost no more than others. Whatever is outside of the subset, grows too large, or
// depends on more than which places a match may reach (whether a repeat is greedy) has no answer
// here: the interpreter's own expression, whose verdict is the law, is asked then. The same holds
// for names with a line break or with characters beyond ASCII, from that character on.
//
// Asking adds states, so an automaton is used by one thread at a time (the interpreter's lock is
// held).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/runtime/regex_tree.h"

namespace kavel::hierarchy {

class NameAutomaton {
 public:
  using Texts = std::span<const std::string_view>;

  /// Null for an expression without an automaton. The groups 1 to `texts` stand for captured texts,
  /// to which `tree` may refer.
  [[nodiscard]] static std::shared_ptr<NameAutomaton> make(const runtime::RegexNode& tree,
                                                           std::size_t texts);

  NameAutomaton(const NameAutomaton&) = delete;
  NameAutomaton& operator=(const NameAutomaton&) = delete;
  ~NameAutomaton();

  /// Whether it matches from the start of `name`; a match need not reach the end.
  [[nodiscard]] std::optional<bool> match(std::string_view name, Texts texts = {});
  /// `name` without what matches at its start; all of it when nothing does.
  [[nodiscard]] std::optional<std::string> remove_start(std::string_view name, Texts texts = {});
  /// `name` without the first match anywhere; all of it when there is none.
  [[nodiscard]] std::optional<std::string> remove_first(std::string_view name, Texts texts = {});

 private:
  class Segment;
  /// A segment, or the number of a captured text.
  struct Piece {
    std::unique_ptr<Segment> segment;
    std::uint32_t text = 0;
  };
  using Places = std::uint64_t;

  explicit NameAutomaton(std::size_t texts);
  [[nodiscard]] bool cut(const runtime::RegexNode& node,
                         std::vector<const runtime::RegexNode*>& open);
  [[nodiscard]] bool close(std::vector<const runtime::RegexNode*>& open);
  /// Where matches from `begin` may end, one bit for each place.
  [[nodiscard]] std::optional<Places> ends(std::string_view name, Texts texts, std::size_t begin);

  std::size_t text_count_;
  std::vector<Piece> pieces_;
};

}  // namespace kavel::hierarchy
