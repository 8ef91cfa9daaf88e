"""Geometry of meshes: numpy arrays in, numpy arrays out; no scene and no check."""
