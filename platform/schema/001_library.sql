-- The library database, as the indexer fills it and the library reads it.
--
-- Side tables hold at most one row per track (genre_track: one per track and genre) under a unique
-- key, so that the planner drops the join of a side table that a statement does not use. No column
-- of a side table is called id, path, is_virtual or has_virtual: statements over the joins use
-- those names unqualified. There are no foreign keys, whose checks would cost every row of a bulk
-- load; a trigger on deletion keeps the side tables in step instead.
--
-- Texts are bounded by the indexer (255 characters; comments 4095 bytes), so that every index row
-- fits. Paths are not, hence their hash and SP-GiST indexes, which have no size limit.
--
-- The *_search columns are generated, because statements compare them with UPPER() of the server.

CREATE EXTENSION IF NOT EXISTS pg_trgm;

CREATE COLLATION "en_US_varnel" (provider = icu, locale = 'en-US');

CREATE TABLE track (
    id               serial PRIMARY KEY,
    userid           integer NOT NULL DEFAULT 0,    -- owner; 0: shared
    path             text NOT NULL,
    title            text NOT NULL DEFAULT '',
    title_sort       text NOT NULL DEFAULT '',
    title_search     text GENERATED ALWAYS AS (upper(title)) STORED,
    filesize         bigint NOT NULL DEFAULT 0,     -- bytes
    year             integer NOT NULL DEFAULT 0,
    frequency        integer NOT NULL DEFAULT 0,    -- samples per second
    channel          integer NOT NULL DEFAULT 0,
    bitrate          integer NOT NULL DEFAULT 0,    -- bits per second
    duration         real NOT NULL DEFAULT 0,       -- seconds
    comment          text NOT NULL DEFAULT '',
    track            integer NOT NULL DEFAULT 0,
    disc             integer NOT NULL DEFAULT 0,
    container        text NOT NULL DEFAULT '',
    codec            text NOT NULL DEFAULT '',
    is_virtual       boolean NOT NULL DEFAULT false, -- one track of a cue sheet
    has_virtual      boolean NOT NULL DEFAULT false, -- a file that a cue sheet splits
    covercount       integer NOT NULL DEFAULT 0,    -- embedded pictures
    date             timestamp NOT NULL DEFAULT now(), -- when it came into the library
    mdate            timestamp NOT NULL DEFAULT now(), -- when the file was last modified, UTC
    agg_genre        text NOT NULL DEFAULT '',      -- all genres, joined
    agg_genre_sort   text NOT NULL DEFAULT '',
    agg_genre_search text GENERATED ALWAYS AS (upper(agg_genre)) STORED
);

CREATE TABLE album_track (
    track               integer PRIMARY KEY,
    album               text NOT NULL DEFAULT '',
    album_sort          text NOT NULL DEFAULT '',
    album_search        text GENERATED ALWAYS AS (upper(album)) STORED,
    album_artist        text NOT NULL DEFAULT '',
    album_artist_sort   text NOT NULL DEFAULT '',
    album_artist_search text GENERATED ALWAYS AS (upper(album_artist)) STORED
);

CREATE TABLE artist_track (
    track            integer PRIMARY KEY,
    artist           text NOT NULL DEFAULT '',
    artist_sort      text NOT NULL DEFAULT '',
    artist_search    text GENERATED ALWAYS AS (upper(artist)) STORED,
    has_album_artist boolean NOT NULL DEFAULT false
);

CREATE TABLE composer_track (
    track           integer PRIMARY KEY,
    composer        text NOT NULL DEFAULT '',
    composer_sort   text NOT NULL DEFAULT '',
    composer_search text GENERATED ALWAYS AS (upper(composer)) STORED
);

CREATE TABLE genre_track (
    track        integer NOT NULL,
    genre        text NOT NULL DEFAULT '',
    genre_sort   text NOT NULL DEFAULT '',
    genre_search text GENERATED ALWAYS AS (upper(genre)) STORED,
    PRIMARY KEY (track, genre)
);

CREATE TABLE virtual_info_track (
    track          integer PRIMARY KEY,
    audio_offset   integer NOT NULL DEFAULT 0,      -- seconds into the file
    cue_sheet_path text NOT NULL DEFAULT ''
);

CREATE TABLE replaygain_track (
    track         integer PRIMARY KEY,
    rg_track_gain real,                             -- decibels
    rg_track_peak real,
    rg_album_gain real,
    rg_album_peak real
);

CREATE TABLE rating_track (
    userid integer NOT NULL,
    track  integer NOT NULL,
    star   integer NOT NULL CHECK (star BETWEEN 0 AND 5),
    PRIMARY KEY (track, userid)
);

-- Lists and folders: the personal table is the shared one between userid and updated. Ids come from
-- one sequence, so that an id means one row in a union of both.
CREATE TABLE playlist (
    id    serial PRIMARY KEY,
    path  text NOT NULL,
    title text NOT NULL DEFAULT '',
    album text NOT NULL DEFAULT '',                 -- name of the folder that holds it
    date  timestamp NOT NULL DEFAULT now(),
    mdate timestamp NOT NULL DEFAULT now()
);

CREATE TABLE personal_playlist (
    userid  integer NOT NULL,
    id      integer PRIMARY KEY DEFAULT nextval('playlist_id_seq'),
    path    text NOT NULL,
    title   text NOT NULL DEFAULT '',
    album   text NOT NULL DEFAULT '',
    date    timestamp NOT NULL DEFAULT now(),
    mdate   timestamp NOT NULL DEFAULT now(),
    updated boolean NOT NULL DEFAULT true
);

CREATE TABLE directory (
    id    serial PRIMARY KEY,
    path  text NOT NULL,
    title text NOT NULL DEFAULT '',
    date  timestamp NOT NULL DEFAULT now(),
    mdate timestamp NOT NULL DEFAULT now()
);

CREATE TABLE personal_directory (
    userid  integer NOT NULL,
    id      integer PRIMARY KEY DEFAULT nextval('directory_id_seq'),
    path    text NOT NULL,
    title   text NOT NULL DEFAULT '',
    date    timestamp NOT NULL DEFAULT now(),
    mdate   timestamp NOT NULL DEFAULT now(),
    updated boolean NOT NULL DEFAULT true
);

CREATE TABLE pin (
    id       serial PRIMARY KEY,
    user_id  integer NOT NULL,
    type     text NOT NULL,
    name     text NOT NULL,
    criteria text NOT NULL,
    sort_key integer NOT NULL
);

CREATE TABLE playlist_sharing (
    id          text PRIMARY KEY,
    user_id     integer NOT NULL,
    user_name   text NOT NULL DEFAULT '',
    playlist_id text NOT NULL,
    path        text NOT NULL DEFAULT '',
    avail_date  text NOT NULL DEFAULT '',
    exp_date    text NOT NULL DEFAULT '',
    status      text NOT NULL DEFAULT ''
);

-- ---- indexes ------------------------------------------------------------------------------------

CREATE INDEX track_path ON track USING hash (path);
CREATE INDEX track_path_below ON track USING spgist (path);
CREATE INDEX track_owner ON track (userid, is_virtual, has_virtual);
CREATE INDEX track_split ON track USING hash (path) WHERE has_virtual;
CREATE INDEX track_title ON track (title_sort COLLATE "en_US_varnel");
CREATE INDEX track_title_lower ON track (lower(title));
CREATE INDEX track_title_text ON track USING gin (title gin_trgm_ops);
CREATE INDEX album_track_album ON album_track (album);
CREATE INDEX album_track_artist ON album_track (album_artist_search);
CREATE INDEX artist_track_search ON artist_track (artist_search);
CREATE INDEX composer_track_composer ON composer_track (composer);
CREATE INDEX genre_track_genre ON genre_track (genre);
CREATE INDEX rating_track_user ON rating_track (userid);
CREATE INDEX playlist_path ON playlist USING hash (path);
CREATE INDEX personal_playlist_path ON personal_playlist USING hash (path);
CREATE INDEX personal_playlist_owner ON personal_playlist (userid);
CREATE INDEX directory_path ON directory USING hash (path);
CREATE INDEX personal_directory_path ON personal_directory USING hash (path);
CREATE INDEX personal_directory_owner ON personal_directory (userid);
CREATE INDEX pin_order ON pin (user_id, sort_key);
CREATE INDEX playlist_sharing_owner ON playlist_sharing (user_id, playlist_id);
CREATE INDEX playlist_sharing_path ON playlist_sharing USING hash (path);

-- ---- side tables follow their track
-- --------------------------------------------------------------

CREATE FUNCTION drop_side_rows() RETURNS trigger LANGUAGE plpgsql AS $$
BEGIN
    DELETE FROM album_track        WHERE track IN (SELECT id FROM gone);
    DELETE FROM artist_track       WHERE track IN (SELECT id FROM gone);
    DELETE FROM composer_track     WHERE track IN (SELECT id FROM gone);
    DELETE FROM genre_track        WHERE track IN (SELECT id FROM gone);
    DELETE FROM virtual_info_track WHERE track IN (SELECT id FROM gone);
    DELETE FROM replaygain_track   WHERE track IN (SELECT id FROM gone);
    DELETE FROM rating_track       WHERE track IN (SELECT id FROM gone);
    RETURN NULL;
END
$$;

CREATE TRIGGER track_gone AFTER DELETE ON track
    REFERENCING OLD TABLE AS gone
    FOR EACH STATEMENT EXECUTE FUNCTION drop_side_rows();

-- ---- planner ------------------------------------------------------------------------------------

-- The track view joins up to nine tables: below the default limit of eight the planner would keep
-- the written order. Just-in-time compilation costs more than any of these statements runs.
DO $$
BEGIN
    EXECUTE format('ALTER DATABASE %I SET join_collapse_limit = 16', current_database());
    EXECUTE format('ALTER DATABASE %I SET from_collapse_limit = 16', current_database());
    EXECUTE format('ALTER DATABASE %I SET jit = off', current_database());
    EXECUTE format('ALTER DATABASE %I SET random_page_cost = 1.1', current_database());
END
$$;
