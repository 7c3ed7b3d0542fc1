// An empty source, for the target whose precompiled header all tests share.
