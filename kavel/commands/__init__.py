"""The subcommands: each module adds its arguments to a parser and runs them."""
