"""Parameter inputs, the blocks that check classes describe."""

from __future__ import annotations

import gc
import weakref
from collections.abc import Callable
from typing import Any

import pytest
from lifetimes import collected

import core

P = core.Parameters


def combo(*attrs: str, selected: tuple[str, ...] = ()) -> Any:
    items = [P.ComboBox.Item(attr, attr.upper(), attr in selected) for attr in attrs]
    return P.ComboBox("choice", items)


def slices(*values: tuple[int, int]) -> Any:
    default = P.IntSlice(
        P.IntRange("first", 1, 9, 2, 4, prefix="<", units="px"), P.IntRange("last", 0, 7, 1, 6)
    )
    made = [P.IntSlice(P.IntRange("a", value=a), P.IntRange("b", value=b)) for a, b in values]
    return P.IntSliceList("slices", default, made)


# An input, its stored form, another stored form, and what the input answers after loading it.
SHAPES: dict[str, tuple[Callable[[], Any], Any, Any]] = {
    "int": (lambda: P.IntRange("a"), {"value": 50}, {"value": -7}),
    "float": (lambda: P.FloatRange("a"), {"value": 0.5}, {"value": 3.25}),
    "regex": (lambda: P.RegEx("a"), {"text": ".+"}, {"text": "^x\ud800$"}),
    "switch": (lambda: P.Switch("a"), {"enabled": False}, {"enabled": True}),
    "combo": (lambda: combo("x", "y"), {"selected_attr": "x"}, {"selected_attr": "y"}),
    "texts": (
        lambda: P.TextInputList("a", [P.TextInput("t", True), P.TextInput()]),
        [{"text": "t", "enabled": True}, {"text": "", "enabled": False}],
        [{"text": "u", "enabled": False}],
    ),
    "matches": (
        lambda: P.TextMatchList("a", [P.TextMatch("t")]),
        [{"text": "t"}],
        [{"text": "u"}, {"text": ""}],
    ),
    "slices": (
        lambda: slices((1, 2)),
        [{"start": {"value": 1}, "stop": {"value": 2}}],
        [{"start": {"value": 8}, "stop": {"value": 9}}],
    ),
}


@pytest.mark.parametrize(("make", "stored", "other"), SHAPES.values(), ids=SHAPES)
def test_stored_forms_come_back_and_copies_stand_alone(make: Any, stored: Any, other: Any) -> None:
    source = make()
    copy = source.clone()
    assert (source.data, type(copy), copy.data) == (stored, type(source), stored)
    copy.load(other)
    assert (source.data, copy.data) == (stored, other)
    assert copy.clone().data == other
    assert (copy.attr, copy.label, copy.help_text) == (source.attr, source.label, source.help_text)


WRONG: dict[str, tuple[Callable[[], Any], list[Any]]] = {
    "int": (lambda: P.IntRange("a"), [5, None, {"value": 1.5}, {"value": "1"}, {"value": 2**70}]),
    "float": (lambda: P.FloatRange("a"), [[], {"value": None}, {"value": "x"}]),
    "regex": (lambda: P.RegEx("a"), ["x", {"text": 1}]),
    "switch": (lambda: P.Switch("a"), [{"enabled": 1}, {"enabled": None}]),
    "texts": (
        lambda: P.TextInputList("a", [P.TextInput("kept", True)]),
        [{}, [1], [{"text": "new"}, {"text": 3}], [{"enabled": 1}]],
    ),
    "slices": (lambda: slices((1, 2)), [None, [{"start": 1}], [{"stop": {"value": "x"}}]]),
}


@pytest.mark.parametrize(("make", "forms"), WRONG.values(), ids=WRONG)
def test_a_stored_value_of_another_type_is_refused_whole(make: Any, forms: list[Any]) -> None:
    target = make()
    before = target.data
    for form in forms:
        with pytest.raises(TypeError):
            target.load(form)
        assert target.data == before


def test_missing_keys_keep_or_give_the_defaults() -> None:
    for make, stored, _ in SHAPES.values():
        target = make()
        if isinstance(stored, dict):
            target.load({})
            assert target.data == stored
    box = combo("x", "y", selected=("y",))
    for form in ({}, {"selected_attr": "unknown"}, {"selected_attr": 3}):
        box.load(form)
        assert box.get_selected() == "Y"
    texts = P.TextInputList("a", ())
    texts.load([{}])
    assert texts.data == [{"text": "", "enabled": False}]
    listed = slices()
    listed.load([{"stop": {"value": 70}}])
    # What a stored element leaves out is the default slice's; its bounds are never stored.
    assert (listed[0].start.value, listed[0].stop.value) == (4, 70)
    assert (listed[0].start.prefix, listed[0].start.maximum, listed[0].stop.maximum) == ("<", 9, 7)


def test_constructor_defaults() -> None:
    whole, real = P.IntRange("a"), P.FloatRange("a")
    assert (whole.minimum, whole.maximum, whole.step, whole.value) == (0, 100, 1, 50)
    assert (real.minimum, real.maximum, real.step, real.value) == (0.0, 1.0, 0.05, 0.5)
    assert (real.precision, real.prefix, real.units) == (2, "", "")
    assert P.IntRange("a", True, value=-(2**63)).data == {"value": -(2**63)}
    assert P.FloatRange("a", value=2**70).data == {"value": float(2**70)}
    assert str(P.Switch("a", True, "Label", "Help")) == 'attr="a" label="Label" help="Help"'


@pytest.mark.parametrize(
    "make",
    [
        lambda: P.IntRange("a", value=1.0),
        lambda: P.IntRange("a", 0, 2**70),
        lambda: P.IntRange("a", 10**5000),
        lambda: P.FloatRange("a", 10**400),
        lambda: P.IntRange("a", units=None),
        lambda: P.FloatRange("a", value="1"),
        lambda: P.FloatRange("a", precision=object()),
        lambda: P.RegEx("a", 5),
        lambda: P.Switch("a", 1),
        lambda: P.TextInput(1),
        lambda: P.TextInput("a", "yes"),
        lambda: P.TextMatch(None),
        lambda: P.TextInputList("a", ["text"]),
        lambda: P.TextMatchList("a", []).add(P.TextInput()),
        lambda: P.IntSlice(P.FloatRange("a"), P.IntRange("b")),
        lambda: P.IntSliceList("a", None),
        lambda: P.ComboBox("a", ["x"]),
        lambda: P.ComboBox.Item("a", 5),
        lambda: P.ComboBox.Item("a", "A", "yes"),
        lambda: P.Switch("a", label=3),
    ],
)
def test_bad_descriptions_are_programming_errors(make: Callable[[], Any]) -> None:
    with pytest.raises(AssertionError):
        make()


def test_attribute_names_are_checked_and_stand_once() -> None:
    for make in (P.IntRange, P.TextMatchList, P.Options, lambda attr: P.ComboBox.Item(attr, "")):
        for name in ("", "1a", "a b", 5, None):
            with pytest.raises(core.Error.WrongAttributeName):
                make(name)
        with pytest.raises(core.Error.PrivateAttributeName):
            make("__a")
    with pytest.raises(core.Error.AttributeNameRepeat, match="^Attribute Name Repeat$"):
        combo("x", "y", "x")


def test_a_combo_box_has_one_selected_item() -> None:
    assert combo("x", "y").current_index == 0
    box = combo("x", "y", "z", selected=("y", "z"))
    assert [item.selected for item in box] == [False, True, False]
    box.set_selected("Z")
    assert (box.get_selected(), box.current_index, box.data) == ("Z", 2, {"selected_attr": "z"})
    box.set_selected("unknown")
    assert box.get_selected() == "Z"
    empty = P.ComboBox("a", [])
    assert (empty.get_selected(), empty.current_index, empty.data) == (
        "",
        0,
        {"selected_attr": None},
    )


def test_lists_hold_elements_of_one_class() -> None:
    texts = P.TextInputList("a", [P.TextInput("one"), P.TextInput("two")])
    assert (texts.values, len(texts.data)) == ([], 2)
    texts[1].enabled = True
    added = P.TextInput("three", True)
    texts.add(added)
    assert (texts.values, len(texts), texts[-1] is added) == (["two", "three"], 3, True)
    assert texts.pop(0).text == "one"
    assert [element.text for element in texts] == ["two", "three"]
    with pytest.raises(IndexError):
        texts.pop(5)
    assert str(texts) == (
        '<class TextInputList>   <class TextInput> enabled=True text="two"\n'
        '  <class TextInput> enabled=True text="three"'
    )
    listed = slices()
    foreign = P.IntSlice(P.IntRange("a", 0, 1, 1, 77), P.IntRange("b"))
    listed.add(foreign)
    assert (foreign.start.maximum, foreign.start.units, foreign.start.value) == (9, "px", 77)


def test_expressions_equal_their_text() -> None:
    one, same, other = P.RegEx("a", "x"), P.RegEx("b", "x"), P.RegEx("a", "y")
    assert one == same == "x" and one != other and one != "y" and one != 5
    assert len({one, same, other}) == 2


class Seconds(P.IntRange):
    """An input of a host, with a value and operations of its own."""

    def __init__(self, attr: str) -> None:
        super().__init__(attr, value=1)
        self.scale = 60

    @property
    def data(self) -> Any:
        return {"minutes": self.value * self.scale}

    def load(self, data: Any) -> None:
        self.value = data["minutes"] // self.scale


def test_a_derived_input_keeps_its_class_and_operations() -> None:
    source = Seconds("time")
    source.scale = 30
    task = P.Block.Task([source])
    source.scale = 1000
    assert task.state == {"time": {"minutes": 30}}
    task.load({"time": {"minutes": 90}})
    copy = task.clone()
    assert (type(copy["time"]), copy["time"].value, copy["time"].scale) == (Seconds, 3, 30)
    # Its class may change without the core knowing: every copy shows the state at its time.
    task["time"].scale = 10
    assert (copy.state, task.clone().state) == (
        {"time": {"minutes": 90}},
        {"time": {"minutes": 30}},
    )


class Words(P._Input):
    """An input of a host that keeps a list, and a value outside of its dictionary."""

    __slots__ = ("limit",)

    def __init__(self, attr: str) -> None:
        super().__init__(attr)
        self.words: list[str] = []
        self.limit = 3

    @property
    def data(self) -> Any:
        return list(self.words)

    def load(self, data: Any) -> None:
        if not isinstance(data, list):
            raise ValueError(data)
        self.words = list(data)


def test_what_a_derived_input_carries_is_its_copy_s_own() -> None:
    task = P.Block.Task([Words("w")])
    task["w"].words.append("kept")
    copy = task.clone()
    copy["w"].words.append("only here")
    assert (task.state, copy.state) == ({"w": ["kept"]}, {"w": ["kept", "only here"]})
    assert copy["w"].limit == 3
    nested = P.IntSlice(Seconds("start"), P.IntRange("stop"))
    assert type(nested.clone().start) is Seconds


def test_an_error_of_a_derived_input_can_be_raised_again_and_again() -> None:
    class Frame:
        """Stands for a scene in the frame of the failing code."""

    def load(self: Any, data: Any) -> None:
        frame = Frame()
        frames.append(weakref.ref(frame))
        raise ValueError(data)

    frames: list[Any] = []
    task = P.Block.Task([type("Failing", (Words,), {"load": load, "__slots__": ()})("w")])
    for _ in range(3):
        with pytest.raises(ValueError, match=r"^\[\]$"):
            task.assert_no_errors()
        with pytest.raises(ValueError, match=r"^\[\]$"):
            task.clone().assert_no_errors()
    gc.collect()
    assert frames and not any(frame() for frame in frames)


def test_foreign_code_may_change_what_is_being_walked() -> None:
    class Meddling(Words):
        """Runs the test's script wherever the core comes by."""

        __slots__ = ()
        script: Any = staticmethod(lambda: None)

        @property
        def data(self) -> Any:
            type(self).script()
            return []

        def clone(self) -> Any:
            type(self).script()
            return super().clone()

    task = P.Block.Task([Meddling("a"), P.Switch("b"), Meddling("c")])
    task["b"].enabled = True
    Meddling.script = staticmethod(
        lambda: (
            setattr(Meddling, "script", staticmethod(lambda: None)),
            task.clone(),
            gc.collect(),
        )
    )
    assert task.state == {"a": [], "b": {"enabled": True}, "c": []}
    group = P.Group("", [Meddling("a"), P.Switch("b")])
    Meddling.script = staticmethod(lambda: setattr(group, "contents", ()))
    assert [node.attr for node in group.clone().contents] == ["a", "b"]


def test_a_block_always_has_a_task_after_loading() -> None:
    block = P.Block([P.IntRange("a", value=3), P.Switch("b")], as_info=True)
    default = {"as_info": True, "state": {"a": {"value": 3}, "b": {"enabled": False}}}
    for stored in ([], None, {}, "x"):
        block.load(stored)
        assert (block.data, [task.number for task in block]) == ([default], [1])
    assert block.defaults == [default]
    block.load([{"as_info": False, "state": {"a": {"value": 9}}}, {}, 7])
    assert [task.as_info for task in block] == [False, True, True]
    assert [task["a"].value for task in block] == [9, 3, 3]
    list(block)[1].assert_no_errors()
    with pytest.raises(TypeError):
        list(block)[2].assert_no_errors()
    assert (block.empty, block.length, len(block), P.Block().empty) == (False, 3, 3, True)


def test_tasks_are_numbered_anew_when_one_goes() -> None:
    block = P.Block([P.Switch("a")], complex=True)
    for _ in range(3):
        block.append_task()
    first, middle, last = list(block)
    block.remove_task(middle)
    block.remove_task(middle)
    assert [first.number, last.number, list(block) == [first, last]] == [1, 2, True]
    copy = block.clone()
    assert (copy.length, copy.complex, copy.inputs[0] is block.inputs[0]) == (0, True, True)


def test_errors_of_a_description_wait_for_the_run() -> None:
    block = P.Block([P.IntRange("a", value=1), "no input", P.IntRange("a", value=2)])
    block.load([{"state": {"a": {"value": 5}, "gone": 1}}])
    (task,) = block
    assert [type(error) for error in task._build_exceptions] == [
        core.Error.ParameterInputType,
        core.Error.AttributeNameRepeat,
    ]
    assert [type(error) for error in task._load_exceptions] == [KeyError]
    # The first of the two stays usable.
    assert (task["a"].value, task.state, len(list(task))) == (5, {"a": {"value": 5}}, 3)
    with pytest.raises(core.Error.ParameterInputType, match="Wrong Class Type"):
        task.assert_no_errors()
    copy = task.clone()
    assert [type(error) for error in copy._load_exceptions] == [KeyError]
    sound = P.Block.Task([P.IntRange("a")])
    sound.assert_no_errors()
    sound.load({"a": {"value": "x"}, "b": 1})
    with pytest.raises(TypeError):
        sound.clone().assert_no_errors()


def test_copies_of_a_task_share_nothing_that_can_change() -> None:
    source = P.Block.Task([P.IntRange("a", value=1), P.TextInputList("l", [P.TextInput("t")])])
    early = source.clone()
    source["a"].value = 2
    source["l"][0].text = "u"
    source["a"].maximum = 7
    late = source.clone()
    late["l"].add(P.TextInput("v"))
    late["a"].minimum = -5
    early["a"].value = 9
    values = [
        [task["a"].value, [element.text for element in task["l"]]]
        for task in (early, source, late, late.clone())
    ]
    assert values == [[9, ["t"]], [2, ["u"]], [2, ["u", "v"]], [2, ["u", "v"]]]
    assert [task["a"].maximum for task in (early, source, late)] == [100, 7, 7]
    assert [task["a"].minimum for task in (early, source, late)] == [0, 0, -5]
    assert early["a"] is early["a"] is next(iter(early)) is early._table["a"]
    assert (source.number, late.number, "a" in late, "b" in late) == (0, 0, True, False)
    with pytest.raises(KeyError):
        late["b"]


@collected
def test_an_input_that_knows_its_block_is_collected() -> Any:
    block = P.Block([P.Switch("a"), Seconds("b")])
    block.load([])
    copies = [next(iter(block)).clone() for _ in range(2)]
    for owner in (*block.inputs, next(iter(block))["b"], next(iter(block)), *copies):
        owner.block = block
    return [block]
