"""The user's projects as documents with a history: made, changed, compared, and brought back.

What changes a project goes through the core's own documents and records, in one turn at its file,
so that nothing that another editor saves meanwhile is lost.
"""
