"""glTF 2.0 scene files: container, node graph, paths, and the operator over them.

`container`, `graph` and `paths` are plain Python; only `operator` needs the extension module
`core`.
"""
