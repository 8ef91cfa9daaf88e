"""What the stub says where a binding can only say "some object"."""

from __future__ import annotations

# How the binding library writes types, and how the stub does; applied in order.
ALIASES = (
    (r"\bcore\.", ""),
    (r"\bcollections\.abc\.", ""),
    (r"detail::accessor<.*>", "Any"),
    (r"\bobject\b|\bhandle\b", "Any"),
    (r"\btyping\.SupportsInt( \| typing\.SupportsIndex)?", "int"),
    (r"\btyping\.SupportsFloat( \| typing\.SupportsIndex)?", "float"),
    (r"\bOptional\[([^\[\]]+)\]", r"\1 | None"),
    (r"\btyping\.", ""),
    (r"\bList\[", "list["),
    (r"(?<![\w.])(?:i|I)terator\b(?!\[)", "Iterator[Any]"),
    (r"(?<![\w.])(?:i|I)terable\b(?!\[)", "Iterable[Any]"),
    (r"(?<![\w.])list\b(?!\[)", "list[Any]"),
    (r"(?<![\w.])set\b(?!\[)", "set[Any]"),
    (r"(?<![\w.])dict\b(?!\[)", "dict[str, Any]"),
    (r"(?<![\w.])tuple\b(?!\[)", "tuple[Any, ...]"),
)

# Classes that are bound after functions that name them.
CLASSES = {
    "kavel::host::VirtualField": "Scene._Virtual._Field",
    "kavel::projects::EditToggle": "_Project.Settings.Record.History.EditToggle",
    "kavel::projects::RuleNode": "_Project.Settings.Rule.Tree.Node",
    "kavel::runtime::List<kavel::runtime::Ref<kavel::projects::TreeNode> >": (
        "_Project.Settings.Rule.Tree._NodeList"
    ),
}

# Classes of live lists and what their elements are.
ELEMENTS = {
    "Check._Classes._ReportList": "Check._Classes.Report",
    "Check._List._CategoryList": "Check._List.Category",
    "Check._List._ControlList": "Check._List.Control",
    "Scene._Buffer._JointList": "Scene._Buffer.DataJoint",
    "Scene._Buffer._BucketList": "Scene._Buffer.DataBucket",
    "_Project.Settings.Record._RecordList": "_Project.Settings.Record",
    "_TextList": "str",
    "_Export.Queue._TaskList": "_Export.Queue.Task",
    "_Project.Settings.Rule._RuleList": "_Project.Settings.Rule",
    "_Project.Settings.Rule.Tree._NodeList": "_Project.Settings.Rule.Tree.Node",
    "_Hierarchy.Pattern._ScopeList": "_Hierarchy.Pattern.Scope",
}

# Properties that a host may set, but mostly overrides by ones that cannot be set.
READ_ONLY = {"Environment.target", "Environment.scope", "Scene.Operator.type_mapping"}

# Values of a class that each of its objects replaces by its own.
PER_OBJECT = {
    "Check.Base.result",
    "Check.Base.could_be_fixed",
    "Check.Base.could_be_selected",
}

# Arguments whose name says their type wherever the binding does not.
ARGUMENTS = {
    "*paths": "str",
    "path": "str",
    "file_path": "str",
    "starting": "str",
    "caption": "str",
    "file_filter": "str",
    "function": "Callable[[], object]",
    "callback": "Callable[..., object]",
    "automatic_uv": "bool",
    "triangulate": "bool",
    "reset_xforms": "bool",
}

# Results by the name of a property or an operation, wherever the binding does not tell.
RESULTS = {
    "_api": "Api",
    "_buffer": "Scene._Buffer",
    "_hierarchy": "_Hierarchy",
    "_op": "Scene.Operator",
    "data": "dict[str, Any]",
    "debug": "None",
    "delete_callbacks": "object",
    "embed_filedata": "object",
    "erase_filedata": "object",
    "error": "None",
    "export": "object",
    "get_children": "Sequence[str] | None",
    "get_parent": "str | None",
    "get_projects_directory": "str",
    "get_selection": "Sequence[str] | None",
    "get_selection_roots": "Sequence[str] | None",
    "get_settings_directory": "str",
    "get_settings_file": "str",
    "get_statistics_file": "str",
    "get_type": "str | None",
    "info": "None",
    "name_from_path": "str",
    "object_exists": "bool | None",
    "postscript_scan_append": "object",
    "postscript_scan_remove": "object",
    "register_scene_opened_callback": "object",
    "register_shutdown_callback": "object",
    "scope": "str",
    "select": "object",
    "selection_manager": "AbstractContextManager[Any]",
    "target": "str",
    "warning": "None",
    **dict.fromkeys(
        ("decoded", "_format", "attr", "name", "icon", "color", "strip", "ghost_filter"), "str"
    ),
    **dict.fromkeys(
        ("space_filter", "latin_filter", "en_ru_filter", "_char_filter", "force_ascii"), "str"
    ),
    **dict.fromkeys(("get_init", "_get_next", "version"), "str"),
    **dict.fromkeys(("get_current_file", "directory_dialog", "file_dialog"), "str | None"),
}

# Types by the dotted name of a property, a function's result, or "function(argument)".
TYPES: dict[str, str] = {
    "_log_threads": "list[Any]",
    "Api.callbacks": "_CallBacks",
    "Api.constants": "type[Constants]",
    "Api.env": "Environment",
    "Api.export": "Api._Export",
    "Api.http": "Api._Http",
    "Api.logger": "type[Logger]",
    "Api.masks": "Mask",
    "Api.project": "_ProjectClass",
    "Api.scene": "Api._Scene",
    "Api.settings": "_Settings",
    "Api.statistics": "_Statistics",
    "Api.validator": "Api._Validator",
    "Api._Export._create_path(directory)": "str | PathLike[str]",
    "Api._Export._perform(directory)": "str | PathLike[str] | None",
    "Api._Export._perform(planner)": "Callable[[], object]",
    "Api._Export._resolve_queue(directory)": "str | PathLike[str] | None",
    "Api._Export.project(directory)": "str | PathLike[str] | None",
    "Api._Export.selected(directory)": "str | PathLike[str] | None",
    "Api._Http._last_projects": "_Project.Collection.HttpResponse | None",
    "Api._Http.projects_request": "_Project.Collection.HttpRequest",
    "Api._Http.statistics_request": "_Statistics.HttpRequest",
    "Check._Classes._array": "MutableSequence[type[Check.Base]]",
    "Check._Classes._denied": "MutableSequence[type[Check.Base]]",
    "Check._Classes._table": "dict[str, type[Check.Base]]",
    "Check._Classes.get": "type[Check.Base] | None",
    "Check._Classes.get_denied": "MutableSequence[type[Check.Base]]",
    "Check._List.Control.check": "type[Check.Base]",
    "Check._List.config": "_Settings.Check.Config | None",
    "Check._List.preset": "_Settings.Check.Presets.Editor | None",
    "Check.Base.check": "object",
    "Check.Base.mask": "Any",
    "Check.Base.result": "Any",
    "Environment.user_home": "str | PathLike[str] | None",
    "Environment.decode_user(path)": "str | PathLike[str]",
    "Environment.encode_user(path)": "str | PathLike[str]",
    "Logger._root": "Any",
    "Mask.Item.mapped": "bool",
    "Scene.Operator.TYPE_MAPPING": "Mapping[str, str]",
    "Scene._Scanner._scan(roots)": "Iterable[str]",
    "Scene._Virtual.get_locations(roots)": "Iterable[str]",
    "Scene._Virtual.upload(roots)": "Iterable[str]",
    "Scene.Operator.map_type": "str | None",
    "Scene.Operator.query_filedata": "Any",
    "Scene.Operator.type_mapping": "TypeMapping",
    "TypeMapping.__init__(table)": "Mapping[str, str]",
    "TypeMapping.get": "str | None",
    "_ListIterator.__iter__": "Iterator[Any]",
    "_Export.Options.selected": "Any",
    "_File.Json.read(path)": "str | PathLike[str]",
    "_File.Json.write(path)": "str | PathLike[str]",
    "_File.Json.AccessQueue(json_path)": "str | PathLike[str]",
    "_File.Text.read(path)": "str | PathLike[str]",
    "_File.move_corrupted(path)": "str | PathLike[str]",
    "_Hierarchy.Pattern.Rule.checklist": "Check._List",
    "_Hierarchy.Pattern.get_checklist": "Check._List | None",
    "_Settings.approved_name": "str",
    "_Project.Collection.HttpRequest.headers": "dict[str, str]",
    "_Project.Collection.HttpRequest.projects": "list[dict[str, Any]]",
    "_Project.Collection.HttpResponse.headers": "dict[str, str]",
    "_Project.Collection.HttpResponse.projects": "list[dict[str, Any]]",
    "_Project.Settings.Rule.List.data": "list[dict[str, Any]]",
    "_Project.Settings.Rule.Range.data": "list[int]",
    "_Project.Settings.Rule.Tree.Root.data": "list[dict[str, Any]]",
    "_Settings.Check.Config.get": "_Settings.Check | None",
    "_Statistics.HttpRequest.contents": "dict[str, Any]",
    "_Statistics.HttpRequest.headers": "dict[str, str]",
    "_Statistics._data": "dict[str, Any]",
    "_Statistics._extend(content)": "dict[str, Any]",
    "_Statistics._read": "dict[str, Any]",
    "_Settings.Check.parameters": "list[Any]",
}
