// SPDX-License-Identifier: MIT
//
// Names of openings by their moves. A game is known by the positions that it reaches, in whatever
// move order.

import { Chess } from './chess.mjs';

/** Name: moves, without their numbers. */
const list = `
Albin Countergambit: d4 d5 c4 e5
Alekhine's Defence: e4 Nf6
Alekhine's Defence, Exchange Variation: e4 Nf6 e5 Nd5 d4 d6 c4 Nb6 exd6
Alekhine's Defence, Four Pawns Attack: e4 Nf6 e5 Nd5 d4 d6 c4 Nb6 f4
Alekhine's Defence, Modern Variation: e4 Nf6 e5 Nd5 d4 d6 Nf3
Alekhine's Defence, Two Pawns Attack: e4 Nf6 e5 Nd5 c4 Nb6 c5
Anderssen's Opening: a3
Baltic Defence: d4 d5 c4 Bf5
Barnes Opening: f3
Benko Gambit: d4 Nf6 c4 c5 d5 b5
Benko Gambit Accepted: d4 Nf6 c4 c5 d5 b5 cxb5 a6 bxa6
Benoni Defence: d4 Nf6 c4 c5
Benoni Defence, Czech Variation: d4 Nf6 c4 c5 d5 e5
Benoni Defence, Modern Variation: d4 Nf6 c4 c5 d5 e6
Benoni Defence, Modern Variation, Classical: d4 Nf6 c4 c5 d5 e6 Nc3 exd5 cxd5 d6 e4 g6 Nf3
Bird's Opening: f4
Bird's Opening, From's Gambit: f4 e5
Bishop's Opening: e4 e5 Bc4
Bishop's Opening, Berlin Defence: e4 e5 Bc4 Nf6
Blackmar-Diemer Gambit: d4 d5 e4
Blackmar-Diemer Gambit Accepted: d4 d5 e4 dxe4 Nc3 Nf6 f3 exf3
Bogo-Indian Defence: d4 Nf6 c4 e6 Nf3 Bb4+
Borg Defence: e4 g5
Budapest Gambit: d4 Nf6 c4 e5
Budapest Gambit, Adler Variation: d4 Nf6 c4 e5 dxe5 Ng4 Nf3
Caro-Kann Defence: e4 c6
Caro-Kann Defence, Advance Variation: e4 c6 d4 d5 e5
Caro-Kann Defence, Advance Variation, Short System: e4 c6 d4 d5 e5 Bf5 Nf3 e6 Be2
Caro-Kann Defence, Classical Variation: e4 c6 d4 d5 Nc3 dxe4 Nxe4 Bf5
Caro-Kann Defence, Exchange Variation: e4 c6 d4 d5 exd5 cxd5
Caro-Kann Defence, Fantasy Variation: e4 c6 d4 d5 f3
Caro-Kann Defence, Karpov Variation: e4 c6 d4 d5 Nc3 dxe4 Nxe4 Nd7
Caro-Kann Defence, Panov Attack: e4 c6 d4 d5 exd5 cxd5 c4
Caro-Kann Defence, Tartakower Variation: e4 c6 d4 d5 Nc3 dxe4 Nxe4 Nf6 Nxf6+ exf6
Caro-Kann Defence, Two Knights Attack: e4 c6 Nc3 d5 Nf3
Catalan Opening: d4 Nf6 c4 e6 g3
Catalan Opening, Closed: d4 Nf6 c4 e6 g3 d5 Bg2 Be7 Nf3
Catalan Opening, Open: d4 Nf6 c4 e6 g3 d5 Bg2 dxc4
Centre Game: e4 e5 d4
Chigorin Defence: d4 d5 c4 Nc6
Clemenz Opening: h3
Colle System: d4 d5 Nf3 Nf6 e3 e6 Bd3
Colle System, Zukertort Variation: d4 d5 Nf3 Nf6 e3 e6 Bd3 c5 b3
Damiano Defence: e4 e5 Nf3 f6
Danish Gambit: e4 e5 d4 exd4 c3
Danish Gambit Accepted: e4 e5 d4 exd4 c3 dxc3 Bc4
Dutch Defence: d4 f5
Dutch Defence, Classical Variation: d4 f5 c4 Nf6 g3 e6 Bg2 Be7
Dutch Defence, Leningrad Variation: d4 f5 c4 Nf6 g3 g6
Dutch Defence, Staunton Gambit: d4 f5 e4
Dutch Defence, Stonewall Variation: d4 f5 c4 Nf6 g3 e6 Bg2 d5
Elephant Gambit: e4 e5 Nf3 d5
English Defence: d4 e6 c4 b6
English Opening: c4
English Opening, Anglo-Indian Defence: c4 Nf6
English Opening, Botvinnik System: c4 e5 Nc3 Nc6 g3 g6 Bg2 Bg7 d3 d6 e4
English Opening, Four Knights Variation: c4 e5 Nc3 Nc6 Nf3 Nf6
English Opening, King's English: c4 e5
English Opening, Mikenas-Carls Variation: c4 Nf6 Nc3 e6 e4
English Opening, Symmetrical Variation: c4 c5
English Opening, Symmetrical Variation, Four Knights: c4 c5 Nf3 Nf6 Nc3 Nc6
English Opening, Symmetrical Variation, Hedgehog: c4 c5 Nf3 Nf6 g3 b6 Bg2 Bb7 O-O e6
Englund Gambit: d4 e5
Four Knights Game: e4 e5 Nf3 Nc6 Nc3 Nf6
Four Knights Game, Halloween Gambit: e4 e5 Nf3 Nc6 Nc3 Nf6 Nxe5
Four Knights Game, Scotch Variation: e4 e5 Nf3 Nc6 Nc3 Nf6 d4
Four Knights Game, Spanish Variation: e4 e5 Nf3 Nc6 Nc3 Nf6 Bb5
French Defence: e4 e6
French Defence, Advance Variation: e4 e6 d4 d5 e5
French Defence, Advance Variation, Milner-Barry Gambit: e4 e6 d4 d5 e5 c5 c3 Nc6 Nf3 Qb6 Bd3
French Defence, Alekhine-Chatard Attack: e4 e6 d4 d5 Nc3 Nf6 Bg5 Be7 e5 Nfd7 h4
French Defence, Burn Variation: e4 e6 d4 d5 Nc3 Nf6 Bg5 dxe4
French Defence, Classical Variation: e4 e6 d4 d5 Nc3 Nf6
French Defence, Exchange Variation: e4 e6 d4 d5 exd5
French Defence, King's Indian Attack: e4 e6 d3
French Defence, MacCutcheon Variation: e4 e6 d4 d5 Nc3 Nf6 Bg5 Bb4
French Defence, Normal Variation: e4 e6 d4 d5
French Defence, Rubinstein Variation: e4 e6 d4 d5 Nc3 dxe4
French Defence, Steinitz Variation: e4 e6 d4 d5 Nc3 Nf6 e5
French Defence, Tarrasch Variation: e4 e6 d4 d5 Nd2
French Defence, Tarrasch Variation, Open: e4 e6 d4 d5 Nd2 c5
French Defence, Winawer Variation: e4 e6 d4 d5 Nc3 Bb4
French Defence, Winawer Variation, Poisoned Pawn: e4 e6 d4 d5 Nc3 Bb4 e5 c5 a3 Bxc3+ bxc3 Ne7 Qg4
Giuoco Pianissimo: e4 e5 Nf3 Nc6 Bc4 Bc5 d3
Giuoco Piano: e4 e5 Nf3 Nc6 Bc4 Bc5 c3
Göring Gambit: e4 e5 Nf3 Nc6 d4 exd4 c3
Grob's Attack: g4
Grünfeld Defence: d4 Nf6 c4 g6 Nc3 d5
Grünfeld Defence, Brinckmann Attack: d4 Nf6 c4 g6 Nc3 d5 Bf4
Grünfeld Defence, Exchange Variation: d4 Nf6 c4 g6 Nc3 d5 cxd5 Nxd5 e4
Grünfeld Defence, Neo-Grünfeld: d4 Nf6 c4 g6 g3 d5
Grünfeld Defence, Russian Variation: d4 Nf6 c4 g6 Nc3 d5 Nf3 Bg7 Qb3
Hungarian Defence: e4 e5 Nf3 Nc6 Bc4 Be7
Hungarian Opening: g3
Indian Defence: d4 Nf6
Indian Defence, Normal Variation: d4 Nf6 c4
Italian Game: e4 e5 Nf3 Nc6 Bc4
Italian Game, Classical Variation: e4 e5 Nf3 Nc6 Bc4 Bc5
Italian Game, Evans Gambit: e4 e5 Nf3 Nc6 Bc4 Bc5 b4
Italian Game, Evans Gambit Accepted: e4 e5 Nf3 Nc6 Bc4 Bc5 b4 Bxb4
Jobava London System: d4 Nf6 Nc3 d5 Bf4
King's Gambit: e4 e5 f4
King's Gambit Accepted: e4 e5 f4 exf4
King's Gambit Accepted, Bishop's Gambit: e4 e5 f4 exf4 Bc4
King's Gambit Accepted, Kieseritzky Gambit: e4 e5 f4 exf4 Nf3 g5 h4 g4 Ne5
King's Gambit Accepted, King's Knight's Gambit: e4 e5 f4 exf4 Nf3
King's Gambit Accepted, Muzio Gambit: e4 e5 f4 exf4 Nf3 g5 Bc4 g4 O-O
King's Gambit Declined, Classical Variation: e4 e5 f4 Bc5
King's Gambit, Falkbeer Countergambit: e4 e5 f4 d5
King's Indian Attack: Nf3 d5 g3
King's Indian Defence: d4 Nf6 c4 g6 Nc3 Bg7
King's Indian Defence, Averbakh Variation: d4 Nf6 c4 g6 Nc3 Bg7 e4 d6 Be2 O-O Bg5
King's Indian Defence, Classical Variation: d4 Nf6 c4 g6 Nc3 Bg7 e4 d6 Nf3 O-O Be2 e5
King's Indian Defence, Fianchetto Variation: d4 Nf6 c4 g6 Nc3 Bg7 Nf3 d6 g3
King's Indian Defence, Four Pawns Attack: d4 Nf6 c4 g6 Nc3 Bg7 e4 d6 f4
King's Indian Defence, Mar del Plata Variation: d4 Nf6 c4 g6 Nc3 Bg7 e4 d6 Nf3 O-O Be2 e5 O-O Nc6 d5 Ne7
King's Indian Defence, Petrosian Variation: d4 Nf6 c4 g6 Nc3 Bg7 e4 d6 Nf3 O-O Be2 e5 d5
King's Indian Defence, Sämisch Variation: d4 Nf6 c4 g6 Nc3 Bg7 e4 d6 f3
King's Knight Opening: e4 e5 Nf3
King's Pawn Game: e4 e5
King's Pawn Opening: e4
Larsen's Opening: b3
Latvian Gambit: e4 e5 Nf3 f5
London System: d4 d5 Nf3 Nf6 Bf4
London System against the Indian Defence: d4 Nf6 Bf4
London System against the King's Indian Defence: d4 Nf6 Nf3 g6 Bf4
London System, Accelerated: d4 d5 Bf4
Mieses Opening: d3
Modern Defence: e4 g6
Modern Defence, Standard Line: e4 g6 d4 Bg7 Nc3 d6
Nimzo-Indian Defence: d4 Nf6 c4 e6 Nc3 Bb4
Nimzo-Indian Defence, Classical Variation: d4 Nf6 c4 e6 Nc3 Bb4 Qc2
Nimzo-Indian Defence, Leningrad Variation: d4 Nf6 c4 e6 Nc3 Bb4 Bg5
Nimzo-Indian Defence, Rubinstein Variation: d4 Nf6 c4 e6 Nc3 Bb4 e3
Nimzo-Indian Defence, Sämisch Variation: d4 Nf6 c4 e6 Nc3 Bb4 a3
Nimzo-Indian Defence, Three Knights Variation: d4 Nf6 c4 e6 Nc3 Bb4 Nf3
Nimzowitsch Defence: e4 Nc6
Old Benoni Defence: d4 c5
Old Indian Defence: d4 Nf6 c4 d6
Owen's Defence: e4 b6
Petrov's Defence: e4 e5 Nf3 Nf6
Petrov's Defence, Classical Attack: e4 e5 Nf3 Nf6 Nxe5 d6 Nf3 Nxe4 d4
Petrov's Defence, Cochrane Gambit: e4 e5 Nf3 Nf6 Nxe5 d6 Nxf7
Petrov's Defence, Nimzowitsch Attack: e4 e5 Nf3 Nf6 Nxe5 d6 Nf3 Nxe4 Nc3
Petrov's Defence, Steinitz Attack: e4 e5 Nf3 Nf6 d4
Philidor Defence: e4 e5 Nf3 d6
Philidor Defence, Exchange Variation: e4 e5 Nf3 d6 d4 exd4
Philidor Defence, Hanham Variation: e4 e5 Nf3 d6 d4 Nf6 Nc3 Nbd7
Pirc Defence: e4 d6 d4 Nf6 Nc3
Pirc Defence, Austrian Attack: e4 d6 d4 Nf6 Nc3 g6 f4
Pirc Defence, Classical Variation: e4 d6 d4 Nf6 Nc3 g6 Nf3 Bg7 Be2
Pirc Defence, Main Line: e4 d6 d4 Nf6 Nc3 g6
Polish Opening: b4
Ponziani Opening: e4 e5 Nf3 Nc6 c3
Portuguese Opening: e4 e5 Bb5
Queen's Gambit: d4 d5 c4
Queen's Gambit Accepted: d4 d5 c4 dxc4
Queen's Gambit Accepted, Central Variation: d4 d5 c4 dxc4 e4
Queen's Gambit Accepted, Classical Variation: d4 d5 c4 dxc4 Nf3 Nf6 e3 e6 Bxc4 c5
Queen's Gambit Declined: d4 d5 c4 e6
Queen's Gambit Declined, Cambridge Springs Defence: d4 d5 c4 e6 Nc3 Nf6 Bg5 Nbd7 e3 c6 Nf3 Qa5
Queen's Gambit Declined, Exchange Variation: d4 d5 c4 e6 Nc3 Nf6 cxd5 exd5
Queen's Gambit Declined, Harrwitz Attack: d4 d5 c4 e6 Nc3 Nf6 Nf3 Be7 Bf4
Queen's Gambit Declined, Lasker Defence: d4 d5 c4 e6 Nc3 Nf6 Bg5 Be7 e3 O-O Nf3 h6 Bh4 Ne4
Queen's Gambit Declined, Marshall Defence: d4 d5 c4 Nf6
Queen's Gambit Declined, Orthodox Defence: d4 d5 c4 e6 Nc3 Nf6 Bg5 Be7 e3 O-O Nf3 Nbd7
Queen's Gambit Declined, Ragozin Defence: d4 d5 c4 e6 Nc3 Nf6 Nf3 Bb4
Queen's Gambit Declined, Semi-Tarrasch Defence: d4 d5 c4 e6 Nc3 Nf6 Nf3 c5
Queen's Gambit Declined, Tarrasch Defence: d4 d5 c4 e6 Nc3 c5
Queen's Gambit Declined, Tartakower Defence: d4 d5 c4 e6 Nc3 Nf6 Bg5 Be7 e3 O-O Nf3 h6 Bh4 b6
Queen's Gambit Declined, Vienna Variation: d4 d5 c4 e6 Nf3 Nf6 Nc3 dxc4
Queen's Indian Defence: d4 Nf6 c4 e6 Nf3 b6
Queen's Indian Defence, Fianchetto Variation: d4 Nf6 c4 e6 Nf3 b6 g3
Queen's Indian Defence, Petrosian Variation: d4 Nf6 c4 e6 Nf3 b6 a3
Queen's Pawn Game: d4 d5
Queen's Pawn Game, Stonewall Attack: d4 d5 e3 Nf6 Bd3 c5 c3 Nc6 f4
Queen's Pawn Opening: d4
Rat Defence: e4 d6
Réti Opening: Nf3 d5 c4
Réti Opening, Advance Variation: Nf3 d5 c4 d4
Ruy Lopez: e4 e5 Nf3 Nc6 Bb5
Ruy Lopez, Arkhangelsk Variation: e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O b5 Bb3 Bb7
Ruy Lopez, Berlin Defence: e4 e5 Nf3 Nc6 Bb5 Nf6
Ruy Lopez, Berlin Defence, Endgame: e4 e5 Nf3 Nc6 Bb5 Nf6 O-O Nxe4 d4 Nd6 Bxc6 dxc6 dxe5 Nf5 Qxd8+ Kxd8
Ruy Lopez, Bird's Defence: e4 e5 Nf3 Nc6 Bb5 Nd4
Ruy Lopez, Breyer Variation: e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Be7 Re1 b5 Bb3 d6 c3 O-O h3 Nb8
Ruy Lopez, Chigorin Variation: e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Be7 Re1 b5 Bb3 d6 c3 O-O h3 Na5
Ruy Lopez, Classical Defence: e4 e5 Nf3 Nc6 Bb5 Bc5
Ruy Lopez, Closed: e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Be7
Ruy Lopez, Cozio Defence: e4 e5 Nf3 Nc6 Bb5 Nge7
Ruy Lopez, Exchange Variation: e4 e5 Nf3 Nc6 Bb5 a6 Bxc6
Ruy Lopez, Marshall Attack: e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Be7 Re1 b5 Bb3 O-O c3 d5
Ruy Lopez, Morphy Defence: e4 e5 Nf3 Nc6 Bb5 a6
Ruy Lopez, Open: e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Nxe4
Ruy Lopez, Schliemann Defence: e4 e5 Nf3 Nc6 Bb5 f5
Ruy Lopez, Steinitz Defence: e4 e5 Nf3 Nc6 Bb5 d6
Ruy Lopez, Zaitsev Variation: e4 e5 Nf3 Nc6 Bb5 a6 Ba4 Nf6 O-O Be7 Re1 b5 Bb3 d6 c3 O-O h3 Bb7
Saragossa Opening: c3
Scandinavian Defence: e4 d5
Scandinavian Defence, Gubinsky-Melts Variation: e4 d5 exd5 Qxd5 Nc3 Qd6
Scandinavian Defence, Icelandic Gambit: e4 d5 exd5 Nf6 c4 e6
Scandinavian Defence, Main Line: e4 d5 exd5 Qxd5 Nc3 Qa5
Scandinavian Defence, Modern Variation: e4 d5 exd5 Nf6
Scandinavian Defence, Portuguese Variation: e4 d5 exd5 Nf6 d4 Bg4
Scotch Gambit: e4 e5 Nf3 Nc6 d4 exd4 Bc4
Scotch Game: e4 e5 Nf3 Nc6 d4
Scotch Game, Classical Variation: e4 e5 Nf3 Nc6 d4 exd4 Nxd4 Bc5
Scotch Game, Mieses Variation: e4 e5 Nf3 Nc6 d4 exd4 Nxd4 Nf6 Nxc6 bxc6 e5
Scotch Game, Schmidt Variation: e4 e5 Nf3 Nc6 d4 exd4 Nxd4 Nf6
Semi-Slav Defence: d4 d5 c4 c6 Nc3 Nf6 Nf3 e6
Semi-Slav Defence, Anti-Moscow Gambit: d4 d5 c4 c6 Nc3 Nf6 Nf3 e6 Bg5 h6 Bh4
Semi-Slav Defence, Botvinnik Variation: d4 d5 c4 c6 Nc3 Nf6 Nf3 e6 Bg5 dxc4
Semi-Slav Defence, Meran Variation: d4 d5 c4 c6 Nc3 Nf6 Nf3 e6 e3 Nbd7 Bd3 dxc4 Bxc4 b5
Semi-Slav Defence, Moscow Variation: d4 d5 c4 c6 Nc3 Nf6 Nf3 e6 Bg5 h6
Sicilian Defence: e4 c5
Sicilian Defence, Accelerated Dragon: e4 c5 Nf3 Nc6 d4 cxd4 Nxd4 g6
Sicilian Defence, Accelerated Dragon, Maroczy Bind: e4 c5 Nf3 Nc6 d4 cxd4 Nxd4 g6 c4
Sicilian Defence, Alapin Variation: e4 c5 c3
Sicilian Defence, Bowdler Attack: e4 c5 Bc4
Sicilian Defence, Classical Variation: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 Nc6
Sicilian Defence, Closed: e4 c5 Nc3
Sicilian Defence, Dragon Variation: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 g6
Sicilian Defence, Dragon Variation, Yugoslav Attack: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 g6 Be3 Bg7 f3
Sicilian Defence, Four Knights Variation: e4 c5 Nf3 e6 d4 cxd4 Nxd4 Nf6 Nc3 Nc6
Sicilian Defence, French Variation: e4 c5 Nf3 e6
Sicilian Defence, Grand Prix Attack: e4 c5 Nc3 Nc6 f4
Sicilian Defence, Hyperaccelerated Dragon: e4 c5 Nf3 g6
Sicilian Defence, Kalashnikov Variation: e4 c5 Nf3 Nc6 d4 cxd4 Nxd4 e5 Nb5 d6
Sicilian Defence, Kan Variation: e4 c5 Nf3 e6 d4 cxd4 Nxd4 a6
Sicilian Defence, Moscow Variation: e4 c5 Nf3 d6 Bb5+
Sicilian Defence, Najdorf Variation: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6
Sicilian Defence, Najdorf Variation, English Attack: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Be3
Sicilian Defence, Najdorf Variation, Main Line: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Bg5
Sicilian Defence, Najdorf Variation, Opocensky: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Be2
Sicilian Defence, Najdorf Variation, Sozin: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 a6 Bc4
Sicilian Defence, Old: e4 c5 Nf3 Nc6
Sicilian Defence, Open: e4 c5 Nf3 d6 d4 cxd4 Nxd4
Sicilian Defence, Richter-Rauzer Variation: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 Nc6 Bg5
Sicilian Defence, Rossolimo Variation: e4 c5 Nf3 Nc6 Bb5
Sicilian Defence, Scheveningen Variation: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 e6
Sicilian Defence, Scheveningen Variation, Keres Attack: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 e6 g4
Sicilian Defence, Smith-Morra Gambit: e4 c5 d4 cxd4 c3
Sicilian Defence, Sozin Attack: e4 c5 Nf3 d6 d4 cxd4 Nxd4 Nf6 Nc3 Nc6 Bc4
Sicilian Defence, Sveshnikov Variation: e4 c5 Nf3 Nc6 d4 cxd4 Nxd4 Nf6 Nc3 e5
Sicilian Defence, Taimanov Variation: e4 c5 Nf3 e6 d4 cxd4 Nxd4 Nc6
Sicilian Defence, Wing Gambit: e4 c5 b4
Slav Defence: d4 d5 c4 c6
Slav Defence, Chameleon Variation: d4 d5 c4 c6 Nf3 Nf6 Nc3 a6
Slav Defence, Czech Variation: d4 d5 c4 c6 Nf3 Nf6 Nc3 dxc4 a4 Bf5
Slav Defence, Exchange Variation: d4 d5 c4 c6 cxd5 cxd5
Sodium Attack: Na3
St. George Defence: e4 a6
Three Knights Game: e4 e5 Nf3 Nc6 Nc3
Torre Attack: d4 Nf6 Nf3 e6 Bg5
Trompowsky Attack: d4 Nf6 Bg5
Two Knights Defence: e4 e5 Nf3 Nc6 Bc4 Nf6
Two Knights Defence, Fried Liver Attack: e4 e5 Nf3 Nc6 Bc4 Nf6 Ng5 d5 exd5 Nxd5 Nxf7
Two Knights Defence, Knight Attack: e4 e5 Nf3 Nc6 Bc4 Nf6 Ng5
Two Knights Defence, Max Lange Attack: e4 e5 Nf3 Nc6 Bc4 Nf6 d4 exd4 O-O Bc5 e5
Two Knights Defence, Traxler Counterattack: e4 e5 Nf3 Nc6 Bc4 Nf6 Ng5 Bc5
Van 't Kruijs Opening: e3
Van Geet Opening: Nc3
Veresov Attack: d4 Nf6 Nc3 d5 Bg5
Vienna Game: e4 e5 Nc3
Vienna Game, Frankenstein-Dracula Variation: e4 e5 Nc3 Nf6 Bc4 Nxe4
Vienna Game, Vienna Gambit: e4 e5 Nc3 Nf6 f4
Ware Opening: a4
Wayward Queen Attack: e4 e5 Qh5
Zukertort Opening: Nf3
`;

/** @type {{name: string, moves: string[]}[]} */
export const openings = list
  .trim()
  .split('\n')
  .map((line) => {
    const [name, moves] = line.split(': ');
    return { name, moves: moves.split(' ') };
  });

/** The part of a FEN in which equal positions agree: all but the counters. */
const keyOf = (fen) => fen.split(' ').slice(0, 4).join(' ');

/** Names by positions, of the first `known` openings. */
const names = new Map();
let known = 0;

function addNext() {
  const { name, moves } = openings[known++];
  const chess = new Chess();
  for (const san of moves) chess.move(san);
  names.set(keyOf(chess.fen()), name);
}

/** Makes the table of positions in advance, in slices of a few milliseconds, so that a page stays
 *  responsive. Otherwise the first call of openingOf() takes tenths of a second. */
export async function prepareOpenings() {
  while (!areOpeningsReady()) {
    const end = performance.now() + 5;
    while (known < openings.length && performance.now() < end) addNext();
    await new Promise((resolve) => setTimeout(resolve));
  }
}

/** Whether the table is there, so that openingOf() is quick. */
export const areOpeningsReady = () => known === openings.length;

/** The opening of a game: the last of its positions that has a name.
 *  @param {string[]} positions FENs, in the order of the game
 *  @returns {?{name: string, ply: number}} `ply` is that position's index; null if none has one */
export function openingOf(positions) {
  while (!areOpeningsReady()) addNext();
  // No line above is longer than 18 moves; a game may take a few more to get there.
  for (let ply = Math.min(positions.length - 1, 40); ply >= 0; ply--) {
    const name = names.get(keyOf(positions[ply]));
    if (name) return { name, ply };
  }
  return null;
}
