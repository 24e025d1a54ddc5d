// SPDX-License-Identifier: MIT
//
// The positions of the node signature: openings, middlegames, tactics, endgames, and one or two for
// each rule that has code of its own (en passant, promotions, checks, castling, pawnless endings).
// Changing this list changes the signature.
#pragma once

#include <string_view>

inline constexpr std::string_view benchPositions[] = {
    // Openings
    "rnbqkbnr/pppppppp/8/8/8/8/PPPPPPPP/RNBQKBNR w KQkq - 0 1",
    "r1bqkbnr/pppp1ppp/2n5/4p3/2B1P3/5N2/PPPP1PPP/RNBQK2R b KQkq - 3 3",
    "rnbqkb1r/pp2pppp/3p1n2/8/3NP3/2N5/PPP2PPP/R1BQKB1R b KQkq - 2 5",
    "rnbqk2r/ppp1ppbp/3p1np1/8/2PPP3/2N5/PP3PPP/R1BQKBNR w KQkq - 0 5",
    "rnbqkbnr/ppp2ppp/4p3/3pP3/3P4/8/PPP2PPP/RNBQKBNR b KQkq - 0 3",
    "rnbqkb1r/p1pp1ppp/1p2pn2/8/2PP4/5N2/PP2PPPP/RNBQKB1R w KQkq - 0 4",
    "r1bqk2r/2ppbppp/p1n2n2/1p2p3/4P3/1B3N2/PPPP1PPP/RNBQR1K1 b kq - 1 7",
    "rnbq1rk1/pp2ppbp/6p1/2p5/3PP3/2P2N2/P4PPP/R1BQKB1R w KQ - 2 9",
    "rnbqkbnr/pp2pppp/8/2ppP3/8/8/PPPP1PPP/RNBQKBNR w KQkq d6 0 3",
    // Middlegames
    "r3k2r/p1ppqpb1/bn2pnp1/3PN3/1p2P3/2N2Q1p/PPPBBPPP/R3K2R w KQkq - 0 1",
    "r4rk1/1pp1qppp/p1np1n2/2b1p1B1/2B1P1b1/P1NP1N2/1PP1QPPP/R4RK1 w - - 0 10",
    "r1bq1rk1/pp1nbppp/2p1pn2/3p4/2PP1B2/2N1PN2/PPQ2PPP/R3KB1R w KQ - 4 8",
    "2r2rk1/1bqnbppp/p2ppn2/1p6/3BPP2/1BN2Q2/PPP3PP/2KR3R w - - 2 15",
    "r2q1rk1/1b2bppp/p1n1pn2/1p6/3N4/1BN1P3/PP2QPPP/R1BR2K1 b - - 3 13",
    "r1b2rk1/2q1bppp/p2ppn2/1pn5/3NPP2/1BN1B3/PPP1Q1PP/R4R1K w - - 4 13",
    "2rq1rk1/pb1n1ppN/4p3/1pb5/3P1Pn1/P1N5/1PQ1B1PP/R1B2RK1 b - - 0 16",
    "r3r1k1/pp1q1pp1/4b1np/3p4/3N4/2PQ1P1P/PP4P1/R2BR1K1 w - - 1 22",
    "3r1rk1/p4pp1/1pq1p2p/2p1P3/2P5/1PQ3P1/P4P1P/3RR1K1 w - - 0 24",
    "r1bq1r1k/1pp1n1pp/1p1p4/4p2Q/4PpP1/1BNP4/PPP2P1P/3R1RK1 b - g3 0 14",
    "4rrk1/pp1n3p/3q2pQ/2p1pb2/2PP4/2P3N1/P2B2PP/4RRK1 b - - 7 19",
    // Tactics
    "r1bq2rk/pp3pbp/2p1p1pQ/7P/3P4/2PB1N2/PP3PPR/2KR4 w - - 0 1",
    "2q1nk1r/4Rp2/1ppp1P2/6Pp/3p1B2/3P3P/PPP1Q3/6K1 w - - 0 1",
    "r2qr1k1/1b1nbppp/p3pn2/1p6/3N1B2/P1NQ4/BP3PPP/3R1RK1 w - - 0 16",
    "1r3r1k/3p4/1p1Nn1R1/4Pp1q/pP3P1p/P7/5Q1P/6RK w - - 0 1",
    "r1b1k2r/1pp1q2p/p1n3p1/3QPp2/8/1BP3B1/P5PP/3R1RK1 w kq - 0 1",
    "5rk1/1b3p1p/pp3p2/3n1N2/1P6/P1qB1PP1/3Q3P/4R1K1 w - - 0 1",
    // Promotions, checks and pins
    "n1n5/PPPk4/8/8/8/8/4Kppp/5N1N b - - 0 1",
    "r2q1rk1/pP1p2pp/Q4n2/bbp1p3/Np6/1B3NBn/pPPP1PPP/R3K2R b KQ - 0 1",
    "rnbq1k1r/pp1Pbppp/2p5/8/2B5/8/PPP1NnPP/RNBQK2R w KQ - 1 8",
    "8/2p5/3p4/KP5r/1R3p1k/8/4P1P1/8 w - - 0 1",
    "3k4/3p4/8/K1P4r/8/8/8/8 b - - 0 1",
    "4k3/8/8/8/1b6/2N5/3P4/r3K2R w K - 0 1",
    // Endgames
    "8/k7/3p4/p2P1p2/P2P1P2/8/8/K7 w - - 0 1",
    "8/8/1p1k4/p1p2ppp/P1P2P2/1P1K2PP/8/8 w - - 0 40",
    "8/5pk1/6p1/R6p/7P/6P1/r4P2/6K1 b - - 5 45",
    "8/1R6/5k2/3p4/1p1P4/1P3K2/r7/8 w - - 12 52",
    "6k1/5ppp/3b4/8/3N4/6P1/5P1P/6K1 w - - 3 33",
    "8/3k2p1/1p2b2p/pP1p3P/P2P1KP1/3B4/8/8 b - - 20 50",
    "8/8/4kpp1/3p1b2/p6P/2B5/6P1/6K1 b - - 0 47",
    "4k3/8/8/8/8/8/4Q3/4K3 w - - 0 1",
    "8/8/8/3k4/8/2NB4/8/2K5 w - - 10 70",
    "8/8/8/8/5k2/7p/4K1Pr/6R1 w - - 0 60",
    "8/P5k1/8/8/8/8/5Kpp/R7 b - - 0 55",
    "3q2k1/5pp1/7p/8/3Q4/6P1/5P1P/6K1 w - - 80 70",
};
