"""Writing chosen objects of a glTF file, and all that they need, into a file of their own."""
