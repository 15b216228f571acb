// Passes requests on to a server and writes a line for each answer: the endpoint, and "refused".
// node recorder.mjs PORT SERVER_PORT FILE
import { appendFileSync } from 'node:fs';
import { createServer, request } from 'node:http';

const [port, server, file] = process.argv.slice(2);

createServer((asked, answer) => {
    const { method, headers, url } = asked;
    const onward = request({ port: server, method, headers, path: url }, (got) => {
        const endpoint = url.replace(/\?.*|\.view/g, '').replace('/rest/', '');
        const isAnswer = /xml|json/.test(got.headers['content-type'] ?? '');
        let text = '';
        got.on('data', (part) => { text += isAnswer ? part : ''; });
        got.on('end', () => {
            const isGood = got.statusCode < 300 && !/"?status"?[=:]\s*"failed"/.test(text);
            appendFileSync(file, `${endpoint}${isGood ? '' : ' refused'}\n`);
        });
        answer.writeHead(got.statusCode, got.headers);
        got.pipe(answer);
    });
    onward.on('error', () => answer.destroy());
    answer.on('close', () => onward.destroy());
    asked.pipe(onward);
}).listen(Number(port), '127.0.0.1');
