"""What the stub says where a binding can only say "some object"."""

from __future__ import annotations

# How the binding library writes types, and how the stub does; applied in order.
ALIASES = (
    (r"\bcore\.", ""),
    (r"\bobject\b", "Any"),
    (r"\btyping\.SupportsInt( \| typing\.SupportsIndex)?", "int"),
    (r"\btyping\.SupportsFloat( \| typing\.SupportsIndex)?", "float"),
    (r"\bOptional\[str\]", "str | None"),
    (r"\btyping\.", ""),
    (r"\bhandle\b", "Any"),
    (r"\bargs\b|\bkwargs\b", "Any"),
    (r"\biterator\b|\bIterator\b(?!\[)", "Iterator[Any]"),
    (r"\blist\b(?!\[)", "list[Any]"),
    (r"\bdict\b(?!\[)", "dict[str, Any]"),
    (r"\btuple\b(?!\[)", "tuple[Any, ...]"),
)

# Classes of live lists and what their elements are.
ELEMENTS = {"_TextList": "str", "_ObjectList": "Any"}

# Types by the dotted name of a property or a function's result, or "function(argument)".
TYPES: dict[str, str] = {}
