"""Tests of the packages that tools.packages makes. They use no module of the build tree in their own process."""
