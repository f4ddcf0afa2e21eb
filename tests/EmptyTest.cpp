// Carries the precompiled headers of the tests; holds none itself.
