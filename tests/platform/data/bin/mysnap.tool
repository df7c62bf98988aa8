#!/bin/sh
# Stand-in so desktop entries naming it count as installed.
exit 0
