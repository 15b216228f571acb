-- What users have listened to, like, and go on with. The rows of songs and of tracks of cue sheets
-- follow their row in track. They go with it, and with the user.

CREATE TABLE song_play (
    userid integer NOT NULL,
    track  integer NOT NULL,
    plays  integer NOT NULL DEFAULT 1,
    last   timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY (track, userid)
);
CREATE INDEX song_play_user ON song_play (userid);

CREATE TABLE favourite_song (
    userid integer NOT NULL,
    track  integer NOT NULL,
    made   timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY (track, userid)
);
CREATE INDEX favourite_song_user ON favourite_song (userid);

-- Albums and artists have no rows of their own: their names stand for them.
CREATE TABLE favourite_album (
    userid       integer NOT NULL,
    album        text NOT NULL,
    album_artist text NOT NULL,
    made         timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY (userid, album, album_artist)
);

CREATE TABLE favourite_artist (
    userid integer NOT NULL,
    artist text NOT NULL,
    made   timestamptz NOT NULL DEFAULT now()
);
CREATE UNIQUE INDEX favourite_artist_name ON favourite_artist (userid, upper(artist));

CREATE TABLE bookmark (
    userid   integer NOT NULL,
    track    integer NOT NULL,
    position bigint NOT NULL,       -- milliseconds
    comment  text NOT NULL DEFAULT '',
    made     timestamptz NOT NULL DEFAULT now(),
    changed  timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY (track, userid)
);
CREATE INDEX bookmark_user ON bookmark (userid);

-- One array, so that a new place in a long queue is written without its songs. Readers leave out
-- what is gone; ids are never used again.
CREATE TABLE play_queue (
    userid     integer PRIMARY KEY,
    songs      integer[] NOT NULL,
    current    integer NOT NULL,    -- an index from 0 on
    position   bigint NOT NULL,     -- in the current song, milliseconds
    changed    bigint NOT NULL,     -- milliseconds since 1970; later each time
    changed_by text NOT NULL
);

-- Of no use after a crash.
CREATE UNLOGGED TABLE now_playing (
    userid integer NOT NULL,
    client text NOT NULL,
    track  integer NOT NULL,
    since  timestamptz NOT NULL DEFAULT now(),
    PRIMARY KEY (userid, client)
);

CREATE TABLE radio_station (
    id        serial PRIMARY KEY,
    name      text NOT NULL,
    stream    text NOT NULL,
    home_page text NOT NULL DEFAULT ''
);

CREATE FUNCTION drop_listening_rows() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    DELETE FROM song_play      WHERE track IN (SELECT id FROM gone);
    DELETE FROM favourite_song WHERE track IN (SELECT id FROM gone);
    DELETE FROM bookmark       WHERE track IN (SELECT id FROM gone);
    RETURN NULL;
END
$$;

CREATE TRIGGER listening_gone AFTER DELETE ON track
    REFERENCING OLD TABLE AS gone
    FOR EACH STATEMENT EXECUTE FUNCTION drop_listening_rows();

-- Puts what users have of some songs with what they have of others: plays add up, the older
-- favourite and the newer bookmark stay. Until the transaction ends nobody adds to it.
CREATE FUNCTION pass_listening_on(sources integer[], targets integer[]) RETURNS void
LANGUAGE plpgsql AS $$
BEGIN
    LOCK TABLE song_play, favourite_song, bookmark, play_queue IN SHARE ROW EXCLUSIVE MODE;

    INSERT INTO song_play SELECT userid, target, plays, last
        FROM song_play JOIN unnest(sources, targets) m (source, target) ON source = track
        ON CONFLICT (track, userid) DO UPDATE SET plays = song_play.plays + EXCLUDED.plays,
            last = greatest(song_play.last, EXCLUDED.last);
    DELETE FROM song_play WHERE track = ANY (sources);

    INSERT INTO favourite_song SELECT userid, target, made
        FROM favourite_song JOIN unnest(sources, targets) m (source, target) ON source = track
        ON CONFLICT (track, userid) DO UPDATE SET
            made = least(favourite_song.made, EXCLUDED.made);
    DELETE FROM favourite_song WHERE track = ANY (sources);

    INSERT INTO bookmark SELECT userid, target, position, comment, made, changed
        FROM bookmark JOIN unnest(sources, targets) m (source, target) ON source = track
        ON CONFLICT (track, userid) DO UPDATE SET position = EXCLUDED.position,
            comment = EXCLUDED.comment, made = EXCLUDED.made, changed = EXCLUDED.changed
            WHERE EXCLUDED.changed > bookmark.changed;
    DELETE FROM bookmark WHERE track = ANY (sources);

    UPDATE play_queue SET songs = ARRAY(
            SELECT coalesce(target, id) FROM unnest(songs) WITH ORDINALITY s (id, place)
                LEFT JOIN unnest(sources, targets) m (source, target) ON source = id
                ORDER BY place)
        WHERE songs && sources;
END
$$;

-- A user's favourites are a kind of change numbers of their own. Plays are none, because
-- lists that show them are read anew each time.
CREATE FUNCTION note_changed_favourites() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    PERFORM add_change('favourite', userid) FROM (SELECT DISTINCT userid FROM changed) users;
    RETURN NULL;
END
$$;

DO $$
DECLARE
    place text;
    event text;
BEGIN
    FOR place, event IN SELECT * FROM
        unnest(ARRAY['favourite_song', 'favourite_album', 'favourite_artist']) places,
        unnest(ARRAY['INSERT', 'DELETE']) events
    LOOP
        EXECUTE format('CREATE TRIGGER note_%s AFTER %s ON %I REFERENCING %s TABLE AS changed '
                       'FOR EACH STATEMENT EXECUTE FUNCTION note_changed_favourites()',
                       lower(event), event, place,
                       CASE event WHEN 'INSERT' THEN 'NEW' ELSE 'OLD' END);
    END LOOP;
END
$$;
