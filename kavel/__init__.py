"""Kavel's own host: check scene files against a project, without a 3D program."""
