"""glTF 2.0 scene files: container, node graph, paths, the operator and the view over them.

Reading geometry goes from `lookup` (the document) through `buffers`, `accessors` and `materials`
to `meshes`; writing it from `editing` (what an edit means) to `encoding` (what is written). `view`
puts them together. Only `operator` needs the extension module `core`, and only what deals with
geometry needs numpy.
"""
