"""A small internet in namespaces: an access provider, the gateway under test and a host on each of its bridges."""
