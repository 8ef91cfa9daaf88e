"""Projects and usage records between the seats of a studio: the server, and the client of a seat.

The server's modules need the extra `kavel[server]`; the client's do not.
"""
