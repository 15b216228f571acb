-- What the indexer has still to do outside of the database for songs and tracks that have moved or
-- gone: their rating records, and the lists of shared songs that name them. It writes these rows
-- with those of the songs, and removes them when that is done; what a killed indexer leaves is done
-- by the next one. This takes the place of due_record and due_entry.
CREATE TABLE outbox (
    id       bigserial PRIMARY KEY,
    song     integer NOT NULL,     -- the row that has moved
    number   integer NOT NULL,     -- of a cue sheet's track; -1: the song itself
    path     text NOT NULL,        -- the file that it has left
    moved_to text                  -- NULL: the row is gone
);

INSERT INTO outbox (song, number, path, moved_to)
    SELECT song, number, path, CASE WHEN is_moved THEN path END FROM due_record;

DROP TABLE due_record, due_entry;
