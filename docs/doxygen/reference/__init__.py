"""What scripts/docs adds to Doxygen: the pages, the navigation, the search, and what it checks."""
