#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Shards run by GNU parallel give the same results as one engine.
exec "$QUILLON_SOURCE_DIR/dev/analyse-shards" 6 10
