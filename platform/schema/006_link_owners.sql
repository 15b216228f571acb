-- An identifier of a playlist may be longer than an entry of an index: it would refuse the link. One
-- user has few links, which are told apart without it.

DROP INDEX playlist_sharing_owner;
CREATE INDEX playlist_sharing_owner ON playlist_sharing (user_id);
