// The OAuth 2 / OpenID authorization server the network tests sign in against,
// served over HTTPS on 127.0.0.1 with a certificate of the test CA.
//
//   node server.mjs --cert server.pem --key server.key
//
// Prints "PORT <n>" once it listens. Ends when killed or when the process that
// started it is gone.
//
// Clients (all with redirect URI http://127.0.0.1/callback):
//   confidential  secret "confidential-secret", HTTP Basic at the token endpoint
//   public        no secret, PKCE required
//   short-lived   like confidential (secret "short-secret"), access tokens live 1 s
// Users (password grant, and "alice" for the browser login):
//   alice / wonderland, bob / builder
// Social tokens (token exchange): "social-token-of-alice".
// Routes besides the provider's own:
//   /interaction/<uid>  signs "alice" in and grants what is asked, no page shown
//   /resource           a protected resource: 200 with the token's subject for a
//                       valid bearer token, else 401

import fs from 'node:fs';
import https from 'node:https';
import Provider, { errors } from 'oidc-provider';

const args = Object.fromEntries(
  process.argv.slice(2).reduce((pairs, word, i, all) => (i % 2 === 0 ? [...pairs, [word.replace(/^--/, ''), all[i + 1]]] : pairs), []),
);
const users = { alice: 'wonderland', bob: 'builder' };
const redirectUris = ['http://127.0.0.1/callback'];
const tokenExchange = 'urn:ietf:params:oauth:grant-type:token-exchange';
const grantTypes = ['authorization_code', 'refresh_token', 'password', tokenExchange];
// Tokens of a social identity provider and whom they stand for.
const socialTokens = { 'social-token-of-alice': 'alice' };

function configuration() {
  return {
    clients: [
      { client_id: 'confidential', client_secret: 'confidential-secret', redirect_uris: redirectUris,
        grant_types: grantTypes, response_types: ['code'], token_endpoint_auth_method: 'client_secret_basic' },
      { client_id: 'public', application_type: 'native', redirect_uris: redirectUris, grant_types: grantTypes, response_types: ['code'],
        token_endpoint_auth_method: 'none' },
      { client_id: 'short-lived', client_secret: 'short-secret', redirect_uris: redirectUris,
        grant_types: grantTypes, response_types: ['code'], token_endpoint_auth_method: 'client_secret_basic' },
    ],
    cookies: { keys: ['ut-test-cookie-key'] },
    clockTolerance: 0,
    features: { devInteractions: { enabled: false }, revocation: { enabled: true } },
    pkce: { required: (ctx, client) => client.clientAuthMethod === 'none' },
    issueRefreshToken: async (ctx, client) => client.grantTypeAllowed('refresh_token'),
    rotateRefreshToken: true,
    ttl: {
      AccessToken: (ctx, token, client) => (client && client.clientId === 'short-lived' ? 1 : 3600),
      AuthorizationCode: 60, Grant: 3600, Interaction: 600, Session: 3600, RefreshToken: 86400, IdToken: 3600,
    },
    findAccount: async (ctx, sub) => (sub in users ? { accountId: sub, claims: async () => ({ sub }) } : undefined),
    interactions: { url: async (ctx, interaction) => `/interaction/${interaction.uid}` },
  };
}

// Issues tokens for `accountId` as the reply of a custom grant.
async function issueTokens(provider, ctx, accountId, gty) {
  const { client, params } = ctx.oidc;
  const scope = params.scope || 'openid';
  const grant = new provider.Grant({ accountId, clientId: client.clientId });
  grant.addOIDCScope(scope);
  const grantId = await grant.save();
  const common = { accountId, client, grantId, gty, scope };
  const at = new provider.AccessToken(common);
  const rt = new provider.RefreshToken(common);
  ctx.body = {
    access_token: await at.save(), refresh_token: await rt.save(), expires_in: at.expiration,
    token_type: 'Bearer', scope,
  };
}

// The password grant and a token exchange for social tokens: the server's own
// custom grant types.
function registerCustomGrants(provider) {
  provider.registerGrantType('password', async (ctx, next) => {
    const { params } = ctx.oidc;
    if (!(params.username in users) || users[params.username] !== params.password) {
      throw new errors.InvalidGrant('wrong user name or password');
    }
    await issueTokens(provider, ctx, params.username, 'password');
    await next();
  }, ['username', 'password', 'scope']);
  provider.registerGrantType(tokenExchange, async (ctx, next) => {
    const { params } = ctx.oidc;
    if (params.subject_token_type !== 'urn:ietf:params:oauth:token-type:access_token'
        || !(params.subject_token in socialTokens)) {
      throw new errors.InvalidGrant('unknown social token');
    }
    await issueTokens(provider, ctx, socialTokens[params.subject_token], 'token-exchange');
    await next();
  }, ['subject_token', 'subject_token_type', 'scope']);
}

// Signs "alice" in, then grants every scope and claim the request asks for.
async function interaction(provider, req, res) {
  const details = await provider.interactionDetails(req, res);
  const { prompt, params, session } = details;
  if (prompt.name === 'login') {
    await provider.interactionFinished(req, res, { login: { accountId: 'alice' } }, { mergeWithLastSubmission: false });
    return;
  }
  const grant = details.grantId ? await provider.Grant.find(details.grantId)
    : new provider.Grant({ accountId: session.accountId, clientId: params.client_id });
  if (prompt.details.missingOIDCScope) grant.addOIDCScope(prompt.details.missingOIDCScope.join(' '));
  if (prompt.details.missingOIDCClaims) grant.addOIDCClaims(prompt.details.missingOIDCClaims);
  for (const [indicator, scopes] of Object.entries(prompt.details.missingResourceScopes || {})) {
    grant.addResourceScope(indicator, scopes.join(' '));
  }
  const grantId = await grant.save();
  await provider.interactionFinished(req, res, { consent: { grantId } }, { mergeWithLastSubmission: true });
}

async function resource(provider, req, res) {
  const match = /^Bearer (.+)$/.exec(req.headers.authorization || '');
  const token = match ? await provider.AccessToken.find(match[1]) : undefined;
  const valid = token && !token.isExpired;
  res.writeHead(valid ? 200 : 401, { 'Content-Type': 'application/json' });
  res.end(JSON.stringify(valid ? { sub: token.accountId, client: token.clientId } : { error: 'invalid_token' }));
}

let provider;
const server = https.createServer({ cert: fs.readFileSync(args.cert), key: fs.readFileSync(args.key) }, (req, res) => {
  const fail = (error) => {
    res.writeHead(500, { 'Content-Type': 'text/plain' });
    res.end(String(error && error.message));
  };
  if (req.url.startsWith('/interaction/')) interaction(provider, req, res).catch(fail);
  else if (req.url.startsWith('/resource')) resource(provider, req, res).catch(fail);
  else provider.callback()(req, res);
});

server.listen(0, '127.0.0.1', () => {
  const { port } = server.address();
  provider = new Provider(`https://127.0.0.1:${port}`, configuration());
  registerCustomGrants(provider);
  process.stdout.write(`PORT ${port}\n`);
});

const parent = process.ppid;
setInterval(() => {
  if (process.ppid !== parent) process.exit(0);
}, 500).unref();
