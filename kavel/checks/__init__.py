"""The checks that ship with Kavel: a check directory like any other, one module per category.

The loader gives modules their bare name in the interpreter, so each has a prefix that no module of
a studio is likely to have.
"""
