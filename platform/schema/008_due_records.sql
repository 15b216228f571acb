-- Rating records that the indexer has still to bring in step with the library, because songs have
-- moved or gone: it writes them behind the commit that adds these rows, and removes the rows then. What
-- a killed indexer leaves is done by the next one.
CREATE TABLE due_record (
    path     text NOT NULL,        -- of a song's file
    number   integer NOT NULL,     -- of a cue sheet's track; -1: the song itself
    song     integer NOT NULL,     -- the row that has come to the path; 0: one has left it
    is_moved boolean NOT NULL      -- false: the song is no more, and the record goes with its file
);
