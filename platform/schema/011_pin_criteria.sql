-- A pin of everything keeps its criteria as {}; some were kept as null. Of two pins that become the
-- same, the first of the user's order stays.

DELETE FROM pin p USING pin first
WHERE p.criteria IN ('null', '{}') AND first.criteria IN ('null', '{}')
    AND p.user_id = first.user_id AND p.type = first.type
    AND (p.sort_key, p.id) > (first.sort_key, first.id);

UPDATE pin SET criteria = '{}' WHERE criteria = 'null';
