// Nothing: the target that holds the precompiled headers needs a source.
