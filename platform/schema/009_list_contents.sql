-- Hashes of the contents of playlists and cue sheets, by which the indexer knows a list again that
-- was moved. The ids are those of playlist and personal_playlist, which come from one sequence.

CREATE TABLE list_contents (
    id       integer PRIMARY KEY,
    contents bigint NOT NULL
);
