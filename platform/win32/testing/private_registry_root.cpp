// Under Wine the tests use the real registry of a throw-away prefix; nothing
// to redirect.
