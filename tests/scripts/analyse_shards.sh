#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
#
# Shards by GNU parallel give what one engine gives.
exec "$QUILLON_SOURCE_DIR/dev/analyse-shards" 6 10
