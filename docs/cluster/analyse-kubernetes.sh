#!/usr/bin/env bash
# Analyses games.pgn in 16 shards on Kubernetes, a pod for each. Untried on a cluster: it was written
# from the manual of kubectl.
#
#   docs/cluster/analyse-kubernetes.sh
#   tools/analyse --merge --out all.jsonl part-*.jsonl
#
# The image has Quillon, built and after `npm ci`, as its working folder. Each pod reads the games
# from standard input and prints its results at the end. Started again, the script analyses only the
# shards that have no results yet.
set -euo pipefail

image=registry.example/quillon:2.0
shards=16

for ((i = 1; i <= shards; i++)); do
    [[ ! -f part-$i.jsonl ]] || continue
    kubectl run "analyse-$i" --image="$image" --restart=Never --rm -i --quiet --command -- bash -c \
        "tools/analyse --depth 12 --shard $i/$shards --out part.jsonl - >&2; cat part.jsonl" \
        < games.pgn > "part-$i.unfinished" && mv "part-$i.unfinished" "part-$i.jsonl" &
done
wait
